#include "plugins/xnn/Runtime.h"

#include <sstream>
#include <stdexcept>

namespace xnn {
namespace {

// What went wrong last, on one line, without the lines that tell where in its sources the runtime gave up. It keeps the
// text for the whole process, so that two failures at once may swap their words.
std::string lastWords() {
    const Owned<char> words(const_cast<char*>(ov_get_last_err_msg()));
    std::istringstream lines(words ? words.get() : "");
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || (line.starts_with("Exception from ") && line.ends_with(':'))) continue;
        text += (text.empty() ? "" : " ") + line;
    }
    return text;
}

std::string wordsOf(ov_status_e status) {
    // These are the C interface's own and leave the last words as they were.
    const std::string words = status <= ov_status_e::INVALID_C_PARAM ? "" : lastWords();
    return words.empty() ? ov_get_error_info(status) : words;
}

}  // namespace

void fail(const std::string& text) {
    throw std::runtime_error(text);
}

void check(ov_status_e status, const char* what) {
    if (status != ov_status_e::OK) fail(std::string(what) + ": " + wordsOf(status));
}

Core::Core() : mCore(create<ov_core_t>("the inference runtime did not start", ov_core_create)) {}

std::vector<std::string> Core::devices() const {
    ov_available_devices_t list{};
    check(ov_core_get_available_devices(get(), &list), "the runtime cannot list its devices");
    const std::unique_ptr<ov_available_devices_t, void (*)(ov_available_devices_t*)> owner(&list,
                                                                                           ov_available_devices_free);
    return {list.devices, list.devices + list.size};
}

std::string Core::property(const std::string& device, const std::string& name) const {
    const std::string what = "device " + device + " does not tell its property " + name;
    return create<char>(what.c_str(), ov_core_get_property, get(), device.c_str(), name.c_str()).get();
}

std::vector<std::string> Core::propertyNames(const std::string& device) const {
    std::istringstream list(property(device, "SUPPORTED_PROPERTIES"));
    std::vector<std::string> names;
    for (std::string name; list >> name;) names.push_back(name);
    return names;
}

std::string Core::version() {
    ov_version_t version{};
    check(ov_get_openvino_version(&version), "the runtime cannot tell its version");
    std::string text = std::string("OpenVINO ") + version.buildNumber;
    ov_version_free(&version);
    return text;
}

}  // namespace xnn
