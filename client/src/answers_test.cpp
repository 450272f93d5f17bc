#include "client/src/Answers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using client::Result;
using client::TextView;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

Result frameOf(uint32_t width, uint32_t height) {
    Result result;
    result.width = width;
    result.height = height;
    return result;
}

TextView view(const std::string& text, uint32_t most = 2000) {
    return {reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()), most};
}

class TextTest : public testing::Test {
  protected:
    // Reads a text as the answer to a frame; the status must go with the reason.
    bool faces(const std::string& text) {
        why = client::readFaces(view(text, 255), result);
        return understood();
    }
    bool content(const std::string& text) {
        why = client::readContent(view(text), true, result);
        return understood();
    }
    bool understood() const {
        EXPECT_EQ(result.status, why.empty() ? ZELCLIENT_BOXES : ZELCLIENT_FRAME_FAILED);
        if (!why.empty()) {
            EXPECT_THAT(result.data.boxes, IsEmpty());
        }
        return why.empty();
    }
    // left, top, right, bottom of the boxes, one after the other.
    std::vector<float> edges() const {
        std::vector<float> all;
        for (const zelclient_box& box : result.data.boxes)
            all.insert(all.end(), {box.rect.left, box.rect.top, box.rect.right, box.rect.bottom});
        return all;
    }

    Result result = frameOf(160, 90);
    std::string why;
};

TEST_F(TextTest, FacesAreRectangles) {
    ASSERT_TRUE(faces("{\"faceNum\":2,\"facePos\":[[10,20,30,40],[-5,0,160,91]]}")) << why;
    EXPECT_EQ(edges(), (std::vector<float>{10, 20, 40, 60, -5, 0, 155, 91}));
    EXPECT_EQ(result.data.boxes[0].score, 0);
}

TEST_F(TextTest, NoFaceIsAnAnswerToo) {
    ASSERT_TRUE(faces("{\"faceNum\":0,\"facePos\":[]}")) << why;
    EXPECT_THAT(edges(), IsEmpty());
}

TEST_F(TextTest, ContentHasScoreAndClass) {
    ASSERT_TRUE(content("{\"ContentNum\":2,\"ContentPos\":[[12,40,500,300,0.912345,2],[0,0,9,9,1.000000,0]]}")) << why;
    EXPECT_EQ(edges(), (std::vector<float>{12, 40, 500, 300, 0, 0, 9, 9}));
    EXPECT_FLOAT_EQ(result.data.boxes[0].score, 0.912345f);
    EXPECT_EQ(result.data.boxes[0].class_id, 2);
}

TEST_F(TextTest, BoxesOfALaterTextReplaceThoseOfAnEarlierOne) {
    ASSERT_TRUE(faces("{\"faceNum\":1,\"facePos\":[[10,20,30,40]]}"));
    ASSERT_TRUE(faces("{\"faceNum\":1,\"facePos\":[[1,2,3,4]]}"));
    EXPECT_EQ(edges(), (std::vector<float>{1, 2, 4, 6}));
}

TEST_F(TextTest, BoxWhoseScoreIsNoNumberIsLeftOut) {
    for (const char* score : {"nan", "-nan", "inf", "-inf"}) {
        const std::string odd = std::string("[0,0,9,9,") + score + ",0]";
        ASSERT_TRUE(content("{\"ContentNum\":2,\"ContentPos\":[" + odd + ",[1,2,3,4,0.500000,3]]}")) << score;
        EXPECT_EQ(edges(), (std::vector<float>{1, 2, 3, 4})) << score;
    }
}

TEST_F(TextTest, BoxTurnedInsideOutIsLeftOut) {
    ASSERT_TRUE(content("{\"ContentNum\":1,\"ContentPos\":[[9,0,1,9,0.500000,0]]}")) << why;
    EXPECT_THAT(edges(), IsEmpty());
}

TEST_F(TextTest, LargestNumbersDoNotOverflow) {
    ASSERT_TRUE(faces("{\"faceNum\":1,\"facePos\":[[2147483647,-2147483648,2147483647,2147483647]]}")) << why;
    EXPECT_EQ(edges(), (std::vector<float>{2147483648.0f, -2147483648.0f, 4294967296.0f, -1}));
    EXPECT_FALSE(faces("{\"faceNum\":1,\"facePos\":[[2147483648,0,1,1]]}"));
    EXPECT_FALSE(faces("{\"faceNum\":99999999999,\"facePos\":[]}"));
}

TEST_F(TextTest, AnythingElseIsRefused) {
    for (const char* text : {"{",
                             "x",
                             "{}",
                             "[]",
                             "null",
                             "{\"faceNum\":1}",
                             "{\"faceNum\":1,\"facePos\":[]}",
                             "{\"faceNum\":0,\"facePos\":[[1,2,3,4]]}",
                             "{\"faceNum\":-1,\"facePos\":[]}",
                             "{\"faceNum\":1,\"facePos\":[[1,2,3]]}",
                             "{\"faceNum\":1,\"facePos\":[[1,2,3,4,5]]}",
                             "{\"faceNum\":1,\"facePos\":[[1,2,-3,4]]}",
                             "{\"faceNum\":1,\"facePos\":[[1,2,3,4],]}",
                             "{\"faceNum\":1,\"facePos\":[,[1,2,3,4]]}",
                             "{\"faceNum\":2,\"facePos\":[[1,2,3,4][1,2,3,4]]}",
                             "{\"faceNum\":1,\"facePos\":[[1.5,2,3,4]]}",
                             "{\"faceNum\":1,\"facePos\":[[+1,2,3,4]]}",
                             "{\"faceNum\":1, \"facePos\":[[1,2,3,4]]}",
                             "{\"faceNum\":1,\"facePos\":[[1,2,3,4]]",
                             "{\"faceNum\":1,\"facePos\":[[1,2,3,4]]}}",
                             "{\"faceNum\":1,\"facePos\":[[[[[[[[[[[[[[[[",
                             "{\"facePos\":[[1,2,3,4]],\"faceNum\":1}",
                             "{\"ContentNum\":0,\"ContentPos\":[]}"}) {
        EXPECT_FALSE(faces(text)) << text;
        EXPECT_THAT(why, HasSubstr("makes no sense")) << text;
    }
    EXPECT_FALSE(content("{\"ContentNum\":1,\"ContentPos\":[[1,2,3,4,1e5,0]]}"));
    EXPECT_FALSE(content("{\"ContentNum\":1,\"ContentPos\":[[1,2,3,4,0.5]]}"));
    EXPECT_FALSE(content("{\"ContentNum\":1,\"ContentPos\":[[1,2,3,4,,0]]}"));
    EXPECT_FALSE(content("{\"faceNum\":0,\"facePos\":[]}"));
}

TEST_F(TextTest, ReasonTellsTheByte) {
    EXPECT_FALSE(faces("{\"faceNum\":1,\"facePos\":[[10,x,30,40]]}"));
    EXPECT_EQ(why, "the host answered a frame of 160x90 with a text that makes no sense at byte 28");
}

TEST_F(TextTest, EmptyTextSaysThatThereWasNoResult) {
    EXPECT_FALSE(faces(""));
    EXPECT_THAT(why, HasSubstr("empty text"));
    EXPECT_FALSE(faces(std::string("\0{\"faceNum\":0,\"facePos\":[]}", 26)));
    EXPECT_THAT(why, HasSubstr("empty text"));
}

TEST_F(TextTest, SizeBeyondTheRecordIsRefusedAndNotRead) {
    const std::string text = "{\"faceNum\":0,\"facePos\":[]}";
    TextView tooLong = view(text, static_cast<uint32_t>(text.size()));
    tooLong.size = 0xFFFFFFFFu;
    EXPECT_THAT(client::readFaces(tooLong, result), HasSubstr("4294967295 bytes"));
    EXPECT_EQ(result.status, ZELCLIENT_FRAME_FAILED);
}

TEST_F(TextTest, ContentFrameWithoutAResultIsNeitherReadNorFailed) {
    EXPECT_EQ(client::readContent(view("garbage"), false, result), "");
    EXPECT_EQ(result.status, ZELCLIENT_NO_RESULT);
}

constexpr size_t kCell = 1439;
constexpr uint32_t kWidth = 256;
constexpr uint32_t kHeight = 144;

class LadonTest : public testing::Test {
  protected:
    LadonTest() { record->size = kWidth * kHeight; }

    float* cell(size_t row, size_t column) { return record->landmarks + kCell * (16 * row + column); }
    void addFace(size_t row, size_t column, float score, bool withPoints) {
        float* to = cell(row, column);
        const float box[] = {score, 0.25f, 0.5f, 0.75f, 1.0f};
        std::copy(std::begin(box), std::end(box), to);
        for (size_t value = 5; withPoints && value < kCell; ++value) to[value] = static_cast<float>(value) / 2048;
    }
    const zelclient_ladon& read(bool withTable = false) {
        EXPECT_EQ(client::readLadon(*record, withTable, result), "");
        EXPECT_EQ(result.status, ZELCLIENT_MASK);
        return *result.data.ladon;
    }

    std::unique_ptr<ipc::LadonResult> record = std::make_unique<ipc::LadonResult>();
    Result result = frameOf(kWidth, kHeight);
};

TEST_F(LadonTest, EmptyRecordIsAMaskAlone) {
    std::fill_n(record->mask, kWidth * kHeight, 9);
    const zelclient_ladon& ladon = read();
    EXPECT_EQ(result.data.mask.size(), size_t{kWidth} * kHeight);
    EXPECT_THAT(result.data.mask, Each(9));
    EXPECT_EQ(ladon.faces, nullptr);
    EXPECT_EQ(ladon.face_count, 0u);
    EXPECT_EQ(ladon.gesture, -1);
    EXPECT_EQ(ladon.lut, nullptr);
    EXPECT_EQ(ladon.lut_vertices, nullptr);
}

TEST_F(LadonTest, MaskOfAnotherSizeIsAFailedFrame) {
    for (const uint32_t size : {0u, kWidth * kHeight - 1, kWidth * kHeight + 1, 0xFFFFFFFFu}) {
        record->size = size;
        EXPECT_THAT(client::readLadon(*record, false, result), HasSubstr("mask of " + std::to_string(size)));
        EXPECT_EQ(result.status, ZELCLIENT_FRAME_FAILED);
    }
}

TEST_F(LadonTest, FaceLiesInPixelsOfTheFrame) {
    addFace(8, 15, 0.5f, true);
    const zelclient_ladon& ladon = read();
    ASSERT_EQ(ladon.face_count, 1u);
    const zelclient_face& face = ladon.faces[0];
    EXPECT_EQ(face.score, 0.5f);
    EXPECT_EQ(face.rect.left, 64);
    EXPECT_EQ(face.rect.top, 72);
    EXPECT_EQ(face.rect.right, 192);
    EXPECT_EQ(face.rect.bottom, 144);
    ASSERT_NE(face.points, nullptr);
    EXPECT_FLOAT_EQ(face.points[0].x, 5.0f / 2048 * kWidth);
    EXPECT_FLOAT_EQ(face.points[0].y, 6.0f / 2048 * kHeight);
    EXPECT_FLOAT_EQ(face.points[0].z, 7.0f / 2048 * kWidth);
    EXPECT_FLOAT_EQ(face.points[477].x, 1436.0f / 2048 * kWidth);
}

TEST_F(LadonTest, LikeliestFaceComesFirstEachWithItsOwnPoints) {
    addFace(0, 0, 0.6f, true);
    addFace(3, 4, 0.9f, false);
    addFace(8, 15, 0.7f, true);
    cell(8, 15)[5] = 0.125f;
    const zelclient_ladon& ladon = read();
    ASSERT_EQ(ladon.face_count, 3u);
    EXPECT_EQ(ladon.faces[0].score, 0.9f);
    EXPECT_EQ(ladon.faces[0].points, nullptr);
    EXPECT_EQ(ladon.faces[1].score, 0.7f);
    EXPECT_EQ(ladon.faces[1].points[0].x, 32);
    EXPECT_EQ(ladon.faces[2].score, 0.6f);
    EXPECT_FLOAT_EQ(ladon.faces[2].points[0].x, 5.0f / 2048 * kWidth);
}

TEST_F(LadonTest, PointsThatAreNoNumbersMakeAFacePointless) {
    for (const float odd : {kNone, kInfinite, -kInfinite, 3e38f}) {
        addFace(2, 2, 0.9f, true);
        addFace(5, 5, 0.8f, true);
        cell(2, 2)[kCell - 1] = odd;
        const zelclient_ladon& ladon = read();
        ASSERT_EQ(ladon.face_count, 2u);
        EXPECT_EQ(ladon.faces[0].points, nullptr);
        ASSERT_NE(ladon.faces[1].points, nullptr);
        EXPECT_FLOAT_EQ(ladon.faces[1].points[0].x, 5.0f / 2048 * kWidth);
    }
}

TEST_F(LadonTest, FaceWhoseBoxOrScoreIsNoneIsLeftOut) {
    for (const size_t value : {0, 1, 2, 3, 4}) {
        for (const float odd : {kNone, kInfinite, -kInfinite}) {
            addFace(2, 2, 0.9f, true);
            cell(2, 2)[value] = odd;
            EXPECT_EQ(read().face_count, 0u) << value << " " << odd;
        }
    }
    addFace(2, 2, 0.9f, true);
    cell(2, 2)[1] = 0.8f;
    EXPECT_EQ(read().face_count, 0u) << "left behind right";
    addFace(2, 2, -0.5f, true);
    EXPECT_EQ(read().face_count, 0u);
}

TEST_F(LadonTest, EveryCellMayHoldAFace) {
    for (size_t row = 0; row < 9; ++row) {
        for (size_t column = 0; column < 16; ++column) addFace(row, column, 0.9f, true);
    }
    const zelclient_ladon& ladon = read();
    ASSERT_EQ(ladon.face_count, 144u);
    for (uint32_t face = 0; face < 144; ++face) ASSERT_EQ(ladon.faces[face].points[0].x, ladon.faces[0].points[0].x);
}

TEST_F(LadonTest, GestureIsTheGreatestScoreAboveZeroAndTheLowerOfTwo) {
    record->gesture[3] = 0.5f;
    record->gesture[7] = 0.5f;
    EXPECT_EQ(read().gesture, 3);
    record->gesture[8] = 0.75f;
    EXPECT_EQ(read().gesture, 8);
    std::fill(std::begin(record->gesture), std::end(record->gesture), -0.5f);
    EXPECT_EQ(read().gesture, -1);
}

TEST_F(LadonTest, ScoresThatAreNoNumbersDoNotCount) {
    record->gesture[0] = kNone;
    record->gesture[1] = kInfinite;
    record->gesture[2] = 0.25f;
    record->motion = kNone;
    const zelclient_ladon& ladon = read();
    EXPECT_EQ(ladon.gesture, 2);
    EXPECT_EQ(ladon.gesture_scores[0], 0);
    EXPECT_EQ(ladon.gesture_scores[1], 0);
    EXPECT_EQ(ladon.motion, 0);
}

TEST_F(LadonTest, TableIsReadOnlyInTheFormThatHasOne) {
    std::fill(std::begin(record->lut), std::end(record->lut), 0.5f);
    record->lutVertices[98] = 1;
    record->lutConfidence = 0.75f;
    EXPECT_EQ(read(false).lut, nullptr);
    EXPECT_EQ(read(false).lut_confidence, 0);
    const zelclient_ladon& ladon = read(true);
    ASSERT_NE(ladon.lut, nullptr);
    EXPECT_EQ(ladon.lut[ipc::kLutValues - 1], 0.5f);
    EXPECT_EQ(ladon.lut_vertices[98], 1);
    EXPECT_EQ(ladon.lut_confidence, 0.75f);
}

TEST_F(LadonTest, TableWithAnythingButNumbersIsNone) {
    record->lut[ipc::kLutValues - 1] = kNone;
    EXPECT_EQ(read(true).lut, nullptr);
    record->lut[ipc::kLutValues - 1] = 0;
    record->lutVertices[0] = kInfinite;
    EXPECT_EQ(read(true).lut_vertices, nullptr);
    record->lutVertices[0] = 0;
    record->lutConfidence = kNone;
    const zelclient_ladon& ladon = read(true);
    EXPECT_NE(ladon.lut, nullptr);
    EXPECT_EQ(ladon.lut_confidence, 0);
}

}  // namespace
