#pragma once

#include <cstdint>
#include <vector>

// A box that a detector has found, in pixels of the network's input or, for faces, in 0..1 of it.
struct DetectBox {
    float left;  // the smaller x
    float top;   // the smaller y
    float right;
    float bottom;
    float score;  // the objectness or the face's score, by which boxes are sorted
    int32_t classId;

    bool operator==(const DetectBox&) const = default;
};
static_assert(sizeof(DetectBox) == 24);

// From a detector's raw output to a short list of boxes, and the way of a picture onto the detector's canvas before it.
// No call logs. One thread at a time.
class ObjectDetectCommon {
  public:
    // Puts a plane of bytes into the middle of another one; what lies around it there stays. Sizes are in pixels, rows
    // are packed. The pads tell where it went; a source of the destination's size leaves them as they are. False, and
    // nothing has changed, for a source larger than the destination in a direction, a negative size or no plane.
    bool padCenter(const uint8_t* source, uint8_t* destination, int32_t sourceWidth, int32_t sourceHeight,
                   int32_t destinationWidth, int32_t destinationHeight);

    // Decodes `rowCount` rows of `rowStride` floats: centre x, centre y, width, height, objectness, then the scores of
    // `classCount` classes, 5 + classCount <= rowStride. The class scores are multiplied by the objectness in place. A
    // row becomes a box of its best class, the highest of equal ones, if its objectness is at least
    // `objectnessThreshold` and the product is above `classThreshold`; the box keeps the objectness as its score. Boxes
    // that overlap a better one by more than `classThreshold` are left out. Writes the best `maxBoxes` to `boxes` and
    // their number to `count`, in coordinates of the picture that padCenter was given, not clipped to it.
    virtual void postProcess(float* rows, DetectBox* boxes, int32_t* count, int32_t rowCount, float objectnessThreshold,
                             float classThreshold, int32_t classCount, int32_t rowStride, int32_t maxBoxes);

    // Sorts the candidates by descending score, in place (a score that is no number comes last), and of the first
    // `candidateLimit` copies those to `boxes` that overlap none copied before by more than `iouThreshold`, up to
    // `maxBoxes` of them. With `clip` the copies are cut to 0..1, and it is these that later ones are compared with.
    void nonMaxSuppression(std::vector<DetectBox>& candidates, DetectBox* boxes, int32_t* count, float iouThreshold,
                           int32_t candidateLimit, int32_t maxBoxes, bool clip) const;

    int32_t mPadTop = 0;   // rows above the picture in the last padCenter between two sizes
    int32_t mPadLeft = 0;  // columns to the left of it
};
