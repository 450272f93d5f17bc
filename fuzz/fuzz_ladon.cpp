#include <cmath>
#include <vector>

#include "client/src/Answers.h"
#include "fuzz/Records.h"
#include "fuzz/SilentEvents.h"

namespace {

bool isRect(const zelclient_rect& rect) {
    return std::isfinite(rect.left) && std::isfinite(rect.top) && std::isfinite(rect.right) &&
           std::isfinite(rect.bottom) && rect.left <= rect.right && rect.top <= rect.bottom;
}

class Ladons final : public fuzz::Answered {
  public:
    Ladons(uint32_t width, uint32_t height, bool withTable) : Answered(width, height), mWithTable(withTable) {}

    void onLadon(const ipc::LadonResult& record) override {
        const zelclient_result result =
            answer([&](client::Result& to) { return client::readLadon(record, mWithTable, to); });
        fuzz::require((result.ladon != nullptr) == (record.size == mWidth * mHeight));
        if (result.ladon) check(*result.ladon);
    }

  private:
    void check(const zelclient_ladon& ladon) const {
        fuzz::require(ladon.face_count <= 144 && (ladon.faces != nullptr) == (ladon.face_count > 0));
        for (uint32_t face = 0; face < ladon.face_count; ++face) {
            checkFace(ladon.faces[face]);
            fuzz::require(face == 0 || ladon.faces[face - 1].score >= ladon.faces[face].score);
        }
        fuzz::require(ladon.gesture >= -1 && ladon.gesture < ZELCLIENT_GESTURES && std::isfinite(ladon.motion));
        for (const float score : ladon.gesture_scores) {
            fuzz::require(std::isfinite(score));
            fuzz::require(ladon.gesture < 0 ? score <= 0 : score <= ladon.gesture_scores[ladon.gesture]);
        }
        fuzz::require((ladon.lut != nullptr) == (ladon.lut_vertices != nullptr) && (mWithTable || !ladon.lut));
        fuzz::require(std::isfinite(ladon.lut_confidence));
    }

    static void checkFace(const zelclient_face& face) {
        fuzz::require(isRect(face.rect) && std::isfinite(face.score) && face.score > 0);
        for (int at = 0; face.points && at < ZELCLIENT_FACE_POINTS; ++at) {
            const zelclient_point& point = face.points[at];
            fuzz::require(std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z));
        }
    }

    const bool mWithTable;
};

// A record of zeros in which an input lays pieces: four bytes of place, one of length, and so many bytes.
class PiecedRecord {
  public:
    PiecedRecord() { ASAN_POISON_MEMORY_REGION(mPacket->header, sizeof mPacket->header); }

    ipc::packet<ipc::LadonResult>& next(fuzz::Input& input) {
        auto* bytes = reinterpret_cast<uint8_t*>(&mPacket->record);
        for (const auto& [place, length] : mLaid) std::memset(bytes + place, 0, length);
        mLaid.clear();
        for (uint32_t pieces = input.byte(); pieces > 0; --pieces) {
            const size_t place = input.word32() % sizeof mPacket->record;
            const size_t most = std::min<size_t>(input.byte(), sizeof mPacket->record - place);
            mLaid.emplace_back(place, input.bytes(bytes + place, most));
        }
        return *mPacket;
    }

  private:
    std::unique_ptr<ipc::packet<ipc::LadonResult>> mPacket = std::make_unique<ipc::packet<ipc::LadonResult>>();
    std::vector<std::pair<size_t, size_t>> mLaid;
};

}  // namespace

// The answers of a Ladon model, read by a client. The input begins with the frame's width and height less one, small
// ones so that a mask is quickly copied, and with whether there is a colour table; then come the records, each the
// number of its pieces and the pieces.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const uint32_t width = fuzz::sideFrom(input, 256);
    const uint32_t height = fuzz::sideFrom(input, 144);
    Ladons ladons(width, height, input.byte() % 2 != 0);
    client::HostRecords records(ladons);
    static PiecedRecord record;
    while (!input.empty()) records.ladon(record.next(input));
    return 0;
}
