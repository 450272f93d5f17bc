#include <cstring>
#include <string>

#include "host/Frame.h"
#include "host/ZelMLHost.h"
#include "util/include/CmException.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTrace.h"

namespace {

// The helper, made and started with the first frame. One that could be made stays, whether it could be started or not.
template <class Helper>
Helper* startedOnce(std::unique_ptr<Helper>& helper, const char* failedText) {
    if (helper) return helper.get();
    try {
        helper = std::make_unique<Helper>();
        helper->init("CPU");
    } catch (...) {
        QOR_ERROR(failedText << cm::currentExceptionText());
    }
    return helper.get();
}

// An inference that fails is a frame without a result.
template <class Helper>
bool detect(Helper& helper, uint32_t width, uint32_t height, const uint8_t* data, uint32_t size, const char* failedText,
            std::string& text) {
    try {
        return helper.processVino(static_cast<int32_t>(width), static_cast<int32_t>(height), data,
                                  static_cast<int32_t>(size), text);
    } catch (...) {
        QOR_ERROR(failedText << cm::currentExceptionText());
        return false;
    }
}

// A text that is too long leaves an empty one, and the size as the slot had it.
template <size_t N>
void fillText(ipc::FrameHolder<N>& record, const std::string& text) {
    if (text.size() > N) {
        record.data[0] = 0;
        return;
    }
    record.size = static_cast<uint32_t>(text.size());
    cm::checkedCopy(record.data, N, text.data(), text.size());
}

}  // namespace

void ZelMLHost::runFaceDetection(const Frame& frame) {
    auto* helper =
        startedOnce(m_pFaceVinoHelper, "zelipc face>> ZelMLHost::onSDFrameIpcPacket, initFaceDetectEngine Failed:  ");
    if (!helper) {
        QOR_ERROR("zelipc face>> ZelMLHost::onSDFrameIpcPacket. m_pFaceVinoHelper hasn't been inited");
        return;
    }
    std::string text;
    if (!detect(*helper, frame.width, frame.height, frame.data, frame.size,
                "zelipc face>> ZelMLHost::onSDFrameIpcPacket, inference failed: ", text)) {
        QOR_ERROR("zelipc face>> ZelMLHost::onSDFrameIpcPacket vinofacedetect failed.");
        return;
    }
    sendFaceText(text);
}

void ZelMLHost::runContentDetection(const Frame& frame) {
    auto* helper = startedOnce(m_pContentVinoHelper,
                               "zelipc face>> ZelMLHost::onSDFrameIpcPacket, initContentDetectEngine Failed:  ");
    if (!helper) {
        QOR_ERROR("zelipc content>> ZelMLHost::onSDFrameIpcPacket. m_pContentVinoHelper hasn't been inited");
        return;
    }
    std::string text;
    const bool found = detect(*helper, frame.width, frame.height, frame.data, frame.width * frame.height,
                              "zelipc content>> ZelMLHost::onSDFrameIpcPacket, inference failed: ", text);
    sendContentText(found ? &text : nullptr);
}

void ZelMLHost::sendFaceText(const std::string& text) {
    if (text.size() > ipc::kRoiBytes) {
        QOR_ERROR("zelipc face>> ZelMLHost::onSDFrameIpcPacket, json results exceed max length "
                  << static_cast<uint32_t>(ipc::kRoiBytes));
    }
    sendROI("", [&text](auto& record) { fillText(record, text); });
}

void ZelMLHost::sendContentText(const std::string* text) {
    if (text && text->size() > ipc::kContentBytes) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket, content json results exceed max length "
                  << static_cast<uint32_t>(ipc::kContentBytes));
    }
    sendContentROI("", [text](auto& record) {
        record.resultValid = text ? 1 : 0;
        if (text) fillText(record, *text);
    });
}
