#include "plugins/xnn/PluginFixture.h"

#include <codecvt>
#include <locale>
#include <type_traits>

namespace xnn_test {
namespace {

platform::Library library() {
    static const platform::Library loaded = platform::loadLibrary(
        platform::executableDirectory() + "/../bin/" + platform::libraryFileName("xnn.dll"), true);
    return loaded;
}

}  // namespace

void* symbol(const char* name) {
    return platform::findSymbol(library(), name);
}

std::wstring widePath(const std::string& utf8) {
    std::wstring_convert<
        std::conditional_t<sizeof(wchar_t) == 2, std::codecvt_utf8_utf16<wchar_t>, std::codecvt_utf8<wchar_t>>>
        converter;
    return converter.from_bytes(utf8);
}

std::string takeException(void* handle) {
    if (!Entry(xnnHasException)(handle)) return "";
    uint64_t length = 0;
    Entry(xnnGetExceptionStringLength)(handle, &length);
    std::string text(length, '?');
    Entry(xnnGetExceptionString)(handle, text.data());
    Entry(xnnResetExceptionString)(handle);
    EXPECT_FALSE(Entry(xnnHasException)(handle));
    return text;
}

PluginFixture::PluginFixture() : handle(Entry(xnnCreateWithLibraryLoader)(nullptr, nullptr)) {}

PluginFixture::~PluginFixture() {
    EXPECT_EQ(takeException(), "");
    Entry(xnnDestory)(handle);
}

void PluginFixture::create(const char* identifier, const test_networks::Pair& pair, const char* device) {
    Entry(xnnCreateNetByBuffers)(handle, "OpenVINO", identifier, device, pair.xml.data(), pair.xml.size(),
                                 pair.weights.data(), pair.weights.size());
}

Dims PluginFixture::dims(const char* layer) {
    uint64_t count = 0;
    Entry(xnnGetLayerDims)(handle, layer, nullptr, &count);
    Dims result(count);
    Entry(xnnGetLayerDims)(handle, layer, result.data(), nullptr);
    return result;
}

void PluginFixture::set(const char* layer, const std::vector<float>& data, const Dims& dims) {
    Entry(xnnSetLayerData)(handle, layer, data.data(), dims.data(), dims.size());
}

std::vector<float> PluginFixture::get(const char* layer) {
    size_t floats = 1;
    for (const uint64_t dim : dims(layer)) floats *= dim;
    const float* const data = Entry(xnnGetLayerData)(handle, layer);
    return data != nullptr ? std::vector<float>(data, data + floats) : std::vector<float>();
}

std::string PluginFixture::identifier() {
    return textOf(Entry(xnnGetCurrentIdentifierLength), Entry(xnnGetCurrentIdentifier), handle);
}

std::vector<float> picture(float first) {
    std::vector<float> data(512);
    for (size_t i = 0; i < data.size(); ++i) data[i] = first + static_cast<float>(i);
    return data;
}

std::vector<float> sumOf(const std::vector<float>& picture) {
    constexpr size_t kPlane = 8 * 16;
    std::vector<float> sum(kPlane);
    for (size_t i = 0; i < picture.size(); ++i) {
        const size_t channel = i / kPlane;
        sum[i % kPlane] += static_cast<float>(channel + 1) * picture[i];
    }
    return sum;
}

}  // namespace xnn_test
