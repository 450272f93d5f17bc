#pragma once

#include <cstddef>
#include <cstdint>

// The interface between the host and a model module: "qorml.dll" on Windows, "libqorml.so" on Linux, in the directory
// of the host's executable. Model type 1 loads it. This header is all that both share; docs/plugins.md tells more.
//
// A module exports two functions under their plain names. The first makes a model, an object whose table of virtual
// functions holds the four operations of IQorMLModel in that order and nothing else.
//
//     CreateQorMLModel(&model)
//     model->Initialise(101, 1)
//     for each frame: PrepareInput(&input), the caller writes the pixels, Run(&output), FetchResult(&output)
//     DestroyQorMLModel(model)
//
// Threads: one call at a time on one model, on any thread; a model that is being replaced may still run while the next
// one is made and initialised. A module therefore shares nothing between its models that it does not lock.
//
// No operation throws: compilers of the two sides may differ.

// A picture on its way into a model, or a mask on its way out. Bytes between the named fields are zero.
struct ZelMLFrame {
    int32_t format;  // kQorMLPicture or kQorMLMask
    uint8_t reserved0[4];
    uint8_t* data;  // null when the caller hands it over; the model's memory
    uint8_t reserved1[24];
    int32_t stride;  // bytes from one row to the next: width x 4 of a picture, width of a mask
    uint8_t reserved2[12];
    int32_t width;   // pixels
    int32_t height;  // pixels
};

// Formats. A picture has four bytes a pixel: blue, green, red, and one that is not looked at. A mask has one byte a
// pixel, 0 for background to 255 for the person. Rows run from the top.
inline constexpr int32_t kQorMLPicture = 0x13;
inline constexpr int32_t kQorMLMask = 1;

// What the host passes to Initialise.
inline constexpr int kQorMLVersion = 101;
inline constexpr int kQorMLOptions = 1;

static_assert(sizeof(void*) == 8, "modules are 64-bit");
static_assert(sizeof(ZelMLFrame) == 64);
static_assert(offsetof(ZelMLFrame, format) == 0);
static_assert(offsetof(ZelMLFrame, data) == 8);
static_assert(offsetof(ZelMLFrame, stride) == 40);
static_assert(offsetof(ZelMLFrame, width) == 56);
static_assert(offsetof(ZelMLFrame, height) == 60);

// A model. Results are 0 for success; the host looks at that of Initialise alone, and takes a null `data` after
// PrepareInput or FetchResult for a failed frame.
class IQorMLModel {
  public:
    // Gets the model ready to run, the host's first call. It may take its time: frames go on with another model.
    virtual int Initialise(int version, int options) = 0;

    // Sets output->data to the mask that the last Run has made of the last picture: `stride` x `height` bytes, the
    // model's own, to be read only and valid until the next PrepareInput or the model's end. Comes after Run with the
    // same frame.
    virtual int FetchResult(ZelMLFrame* output) = 0;

    // Sets input->data to a buffer for a picture of input->width x input->height pixels: `stride` x `height` bytes, the
    // model's own. The caller writes all of it before Run, and nothing later. The size may change from picture to
    // picture, up to 230,400 pixels (640 x 360 of them) in any shape.
    virtual int PrepareInput(ZelMLFrame* input) = 0;

    // Makes the mask of the picture in that buffer. `output` tells the mask's format and size, those of the picture.
    virtual int Run(ZelMLFrame* output) = 0;

  protected:
    // Only DestroyQorMLModel ends a model. A virtual destructor would take slots of the table.
    ~IQorMLModel() = default;
};

extern "C" {

// Stores a new model in *model; leaves it null when there can be none.
void CreateQorMLModel(IQorMLModel** model);
// Ends a model of CreateQorMLModel. Its buffers go with it.
void DestroyQorMLModel(IQorMLModel* model);

}  // extern "C"
