#include <stdexcept>
#include <string>

#include "fuzz/Records.h"
#include "host/CommandLine.h"
#include "ipc/channel_names.h"

namespace {

enum class Number { kGood, kInvalid, kOutOfRange };

template <class Convert>
Number outcome(const Convert& convert, const std::string& text) {
    try {
        convert(text);
        return Number::kGood;
    } catch (const std::invalid_argument&) {
        return Number::kInvalid;
    } catch (const std::out_of_range&) {
        return Number::kOutOfRange;
    }
}

std::string value(const std::string& line, const std::string& key) {
    std::string found = commandLineValue(line, key);
    fuzz::require(found.find(' ') == std::string::npos);
    fuzz::require(found.empty() || line.find(key + "=" + found) != std::string::npos);
    return found;
}

}  // namespace

// The host's command line: every key that it knows, and the number, which must be judged as the standard does.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string line(reinterpret_cast<const char*>(data), size);
    const std::string base = ipc::channelBaseName(value(line, "PID"), value(line, "MID"));
    fuzz::require(base.size() <= 2 * size + sizeof "zelhost_");
    value(line, "DEV");
    const std::string log = value(line, "LOG");
    fuzz::require(outcome(validateDecimal, log) == outcome([](const std::string& text) { std::stoi(text); }, log));
    return 0;
}
