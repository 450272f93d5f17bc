#include "engines/vino/ZelHelper.h"

#include <cstring>
#include <exception>
#include <utility>

#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "util/include/CmTrace.h"

namespace {

constexpr const char* kModuleName = "qorml.dll";
constexpr int32_t kPictureBytesPerPixel = 4;

ZelMLFrame frameOf(int32_t format, int32_t bytesPerPixel, int32_t width, int32_t height) {
    ZelMLFrame frame{};
    frame.format = format;
    frame.stride = width * bytesPerPixel;
    frame.width = width;
    frame.height = height;
    return frame;
}

// What `body` answers; `otherwise` when it throws.
template <class Result, class Body>
Result guarded(const char* step, Result otherwise, const Body& body) {
    try {
        return body();
    } catch (const std::exception& failure) {
        QOR_ERROR("zelipc>> ZelHelper::" << step << " failed, the model threw: " << failure.what());
    } catch (...) {
        QOR_ERROR("zelipc>> ZelHelper::" << step << " failed, the model threw what is no std::exception");
    }
    return otherwise;
}

}  // namespace

ZelHelper::~ZelHelper() {
    Release();
}

void ZelHelper::swap(ZelHelper& other) noexcept {
    std::swap(m_pModule, other.m_pModule);
    std::swap(m_pCreateQorMLModel, other.m_pCreateQorMLModel);
    std::swap(m_pDestroyQorMLModel, other.m_pDestroyQorMLModel);
    std::swap(m_pZelMLModel, other.m_pZelMLModel);
}

bool ZelHelper::Init() {
    Release();
    const bool started = guarded("Init", false, [this] { return start(); });
    platform::prepareThreadForFilter();  // the module's runtime may leave a small stack for handlers behind
    if (!started) Release();
    return started;
}

bool ZelHelper::start() {
    auto module = std::make_unique<vreek::CQorModule>(kModuleName);
    module->LoadModule();
    m_pModule = std::move(module);
    return findExports() && createModel() && initialiseModel();
}

bool ZelHelper::findExports() {
    m_pCreateQorMLModel = reinterpret_cast<decltype(m_pCreateQorMLModel)>(m_pModule->QueryMethod("CreateQorMLModel"));
    m_pDestroyQorMLModel =
        reinterpret_cast<decltype(m_pDestroyQorMLModel)>(m_pModule->QueryMethod("DestroyQorMLModel"));
    if (m_pCreateQorMLModel && m_pDestroyQorMLModel) return true;
    QOR_ERROR("zelipc>> ZelHelper::Init fail to querymethod");
    return false;
}

bool ZelHelper::createModel() {
    m_pCreateQorMLModel(&m_pZelMLModel);
    if (m_pZelMLModel) return true;
    QOR_ERROR("zelipc>> ZelHelper::Init fail to create ml model");
    return false;
}

bool ZelHelper::initialiseModel() {
    const int ret = m_pZelMLModel->Initialise(kQorMLVersion, kQorMLOptions);
    if (ret == 0) return true;
    QOR_ERROR("zelipc>> ZelHelper::init init model failed, ret=" << ret);
    return false;
}

void ZelHelper::Release() {
    if (m_pZelMLModel && m_pDestroyQorMLModel) {
        guarded("Release", false, [this] {
            m_pDestroyQorMLModel(std::exchange(m_pZelMLModel, nullptr));
            return true;
        });
    }
    m_pCreateQorMLModel = nullptr;
    m_pDestroyQorMLModel = nullptr;
    m_pModule.reset();
}

bool ZelHelper::processByZelML(int32_t width, int32_t height, const uint8_t* data, int32_t, uint8_t** outMask) {
    if (!m_pZelMLModel || !data) {
        QOR_ERROR("zelipc>> ZelHelper::processByZelML failed, m_pZelMLModel == nullptr");
        return false;
    }
    const uint32_t start = platform::tickCount();
    uint8_t* const mask = guarded<uint8_t*>("processByZelML", nullptr, [&] { return runModel(width, height, data); });
    if (!mask) return false;
    *outMask = mask;
    QOR_INFO("zelipc>> ZelHelper::processByZelML tick = " << platform::tickCount() - start);
    return true;
}

// The mask, null with a line when the model gives none.
uint8_t* ZelHelper::runModel(int32_t width, int32_t height, const uint8_t* data) {
    ZelMLFrame input = frameOf(kQorMLPicture, kPictureBytesPerPixel, width, height);
    m_pZelMLModel->PrepareInput(&input);
    if (!input.data) {
        QOR_ERROR("zelipc>> ZelHelper::processByZelML failed, the model has no buffer for w = " << width
                                                                                                << ", h = " << height);
        return nullptr;
    }
    std::memcpy(input.data, data, static_cast<size_t>(width) * static_cast<size_t>(height) * kPictureBytesPerPixel);

    ZelMLFrame output = frameOf(kQorMLMask, 1, width, height);
    m_pZelMLModel->Run(&output);
    m_pZelMLModel->FetchResult(&output);
    if (!output.data) QOR_ERROR("zelipc>> ZelHelper::processByZelML failed, the model gave no mask");
    return output.data;
}
