#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace platform::test {

// A minidump's bytes, by the offsets of the format; a read beyond the file's end fails the test.
class DumpFile {
  public:
    struct Location {
        uint32_t size;
        uint32_t offset;
    };
    struct Range {
        uint64_t address;
        Location location;
    };
    struct Module {
        uint64_t base;
        uint32_t size;
        std::string name;
        std::string buildId;
    };

    explicit DumpFile(std::string bytes) : bytes_(std::move(bytes)) {}

    template <typename T>
    T at(size_t offset) const {
        T value;
        if (offset + sizeof value > bytes_.size()) throw std::out_of_range("offset " + std::to_string(offset));
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }
    Location location(size_t offset) const { return {at<uint32_t>(offset), at<uint32_t>(offset + 4)}; }
    Range range(size_t offset) const { return {at<uint64_t>(offset), location(offset + 8)}; }
    std::string bytesAt(const Location& location) const {
        if (location.size == 0) return "";
        at<char>(location.offset + location.size - 1);
        return bytes_.substr(location.offset, location.size);
    }

    // By the stream's type.
    std::map<uint32_t, Location> streams() const {
        std::map<uint32_t, Location> streams;
        for (uint32_t i = 0; i < at<uint32_t>(8); ++i) {
            const size_t entry = at<uint32_t>(12) + i * 12;
            const bool added = streams.emplace(at<uint32_t>(entry), location(entry + 4)).second;
            if (!added) throw std::runtime_error("a stream twice");
        }
        return streams;
    }
    Location stream(uint32_t type) const { return streams().at(type); }

    // The offsets of a list's records.
    std::vector<size_t> records(uint32_t type, size_t size) const {
        const Location list = stream(type);
        std::vector<size_t> offsets;
        for (uint32_t i = 0; i < at<uint32_t>(list.offset); ++i) offsets.push_back(list.offset + 4 + i * size);
        EXPECT_EQ(list.size, 4 + offsets.size() * size);
        return offsets;
    }
    std::vector<size_t> threads() const { return records(3, 48); }
    size_t thread(pid_t id) const {
        for (const size_t thread : threads()) {
            if (at<uint32_t>(thread) == static_cast<uint32_t>(id)) return thread;
        }
        throw std::runtime_error("no thread " + std::to_string(id));
    }
    Range stackOf(size_t thread) const { return range(thread + 24); }
    size_t contextOf(size_t thread) const {
        EXPECT_EQ(location(thread + 40).size, 1232u);
        return location(thread + 40).offset;
    }

    std::vector<Range> memory() const {
        std::vector<Range> ranges;
        for (const size_t record : records(5, 16)) ranges.push_back(range(record));
        return ranges;
    }
    // The bytes at an address, as far as they are in one range.
    std::string memoryAt(uint64_t address, size_t size) const {
        for (const Range& range : memory()) {
            if (address < range.address || address - range.address >= range.location.size) continue;
            return bytesAt(range.location).substr(address - range.address, size);
        }
        return "";
    }

    std::string text(uint32_t offset) const {
        std::string text;
        const uint32_t size = at<uint32_t>(offset);
        for (uint32_t i = 0; i < size; i += 2) {
            const auto unit = at<char16_t>(offset + 4 + i);
            text += unit < 0x80 ? static_cast<char>(unit) : '?';
        }
        EXPECT_EQ(at<char16_t>(offset + 4 + size), 0);
        return text;
    }
    std::vector<char16_t> units(uint32_t offset) const {
        std::vector<char16_t> units;
        for (uint32_t i = 0; i < at<uint32_t>(offset); i += 2) units.push_back(at<char16_t>(offset + 4 + i));
        return units;
    }

    std::vector<Module> modules() const {
        std::vector<Module> modules;
        for (const size_t record : records(4, 108)) {
            const Location codeView = location(record + 76);
            std::string id;
            if (codeView.size > 0) {
                EXPECT_EQ(at<uint32_t>(codeView.offset), 0x4270454cu);
                id = bytesAt({codeView.size - 4, codeView.offset + 4});
            }
            modules.push_back({at<uint64_t>(record), at<uint32_t>(record + 8), text(at<uint32_t>(record + 20)), id});
        }
        return modules;
    }

    // Everything that the file refers to lies in it.
    void checkWhole() const {
        EXPECT_EQ(at<uint32_t>(0), 0x504d444du);
        EXPECT_EQ(at<uint32_t>(4) & 0xffff, 0xa793u);
        for (const auto& [type, location] : streams()) bytesAt(location);
        for (const size_t thread : threads()) {
            bytesAt(stackOf(thread).location);
            at<char>(contextOf(thread) + 1231);
        }
        for (const Range& range : memory()) bytesAt(range.location);
        EXPECT_FALSE(modules().empty());
    }

  private:
    const std::string bytes_;
};

}  // namespace platform::test
