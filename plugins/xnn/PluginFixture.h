#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "engines/inference_engine/TestNetworks.h"
#include "platform/include/module.h"
#include "plugins/xnn/xnn.h"
#include "tests/support/Environment.h"

// A function of the library, as a program finds it that loads the library at run time: Entry(xnnInfer)(handle). Not in
// capitals, which the formatter would take for a statement of its own.
#define Entry(function) (reinterpret_cast<decltype(&::function)>(xnn_test::symbol(#function)))

namespace xnn_test {

using Dims = std::vector<uint64_t>;

// Of the library that lies where the build puts it, loaded once; null for a name that it does not give away.
void* symbol(const char* name);

using zeltest::setVariable;

// The text as the interface takes paths.
std::wstring widePath(const std::string& utf8);

// The text of a pending exception, which is reset; "" when there is none. Null asks for the thread's.
std::string takeException(void* handle);

// The two steps of functions that take an index or nothing, and of those that have both steps in one.
template <class Length, class Text, class... Arguments>
std::string textOf(Length length, Text text, void* handle, Arguments... arguments) {
    std::string result(static_cast<size_t>(length(handle, arguments...)), '?');
    text(handle, arguments..., result.data());
    return result;
}
template <class Function, class... Arguments>
std::string twoStepText(Function function, void* handle, Arguments... arguments) {
    uint64_t length = 0;
    function(handle, arguments..., &length, nullptr);
    std::string result(length, '?');
    function(handle, arguments..., nullptr, result.data());
    return result;
}

// With a handle, and what tests do with its networks.
class PluginFixture : public testing::Test {
  protected:
    PluginFixture();
    ~PluginFixture() override;

    void create(const char* identifier, const test_networks::Pair& pair, const char* device = "CPU");
    Dims dims(const char* layer);
    void set(const char* layer, const std::vector<float>& data, const Dims& dims);
    std::vector<float> get(const char* layer);
    std::string identifier();
    std::string takeException() { return xnn_test::takeException(handle); }

    void* handle;
};

// weightedSum of TestNetworks.h: an input for it, and what it makes of it.
const Dims kPicture{1, 4, 8, 16};
std::vector<float> picture(float first);
std::vector<float> sumOf(const std::vector<float>& picture);

}  // namespace xnn_test
