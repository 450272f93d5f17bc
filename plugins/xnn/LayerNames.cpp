#include "plugins/xnn/LayerNames.h"

#include <algorithm>
#include <utility>

namespace xnn {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// Cuts off and gives what lies before `mark`, which goes too; all of it when there is no mark.
std::string_view takeUntil(std::string_view& text, std::string_view mark) {
    const size_t at = text.find(mark);
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + mark.size());
    return taken;
}

std::string withoutEntities(std::string_view text) {
    constexpr std::pair<std::string_view, char> kEntities[] = {
        {"amp;", '&'}, {"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"apos;", '\''}};
    std::string result(takeUntil(text, "&"));
    while (!text.empty()) {
        const size_t before = text.size();
        for (const auto& [entity, character] : kEntities) {
            if (!text.starts_with(entity)) continue;
            result += character;
            text.remove_prefix(entity.size());
            break;
        }
        if (text.size() == before) result += '&';  // an unknown one stays as it is
        result += takeUntil(text, "&");
    }
    return result;
}

// One element's tag, and what the scan needs of its attributes.
struct Tag {
    std::string_view element;  // "/layer" where it closes one
    bool closed = false;       // by itself
    std::string name;
    std::string type;
    std::string version;
};

// Takes `name="value"` pairs until the tag ends; a value may hold '>'.
void takeAttributes(std::string_view& xml, Tag& tag) {
    while (true) {
        const size_t next = xml.find_first_not_of(kBlanks);
        if (next == std::string_view::npos) return xml.remove_prefix(xml.size());
        xml.remove_prefix(next);
        if (xml.front() == '>' || xml.front() == '/' || xml.front() == '?') {
            tag.closed = xml.front() != '>';
            takeUntil(xml, ">");
            return;
        }
        const std::string_view key = takeUntil(xml, "=");
        if (xml.empty()) return;
        const std::string_view quote = xml.substr(0, 1);
        xml.remove_prefix(1);
        const std::string_view value = takeUntil(xml, quote);
        if (key == "name") tag.name = withoutEntities(value);
        if (key == "type") tag.type = value;
        if (key == "version") tag.version = value;
    }
}

// Takes the next tag; an empty element says that there is none.
Tag takeTag(std::string_view& xml) {
    Tag tag;
    takeUntil(xml, "<");
    while (xml.starts_with("!--")) {
        takeUntil(xml, "-->");
        takeUntil(xml, "<");
    }
    const size_t end = std::min(xml.find_first_of(" \t\r\n/>", 1), xml.size());
    tag.element = xml.substr(0, end);
    xml.remove_prefix(end);
    takeAttributes(xml, tag);
    return tag;
}

}  // namespace

std::string listedName(const std::string& fullName) {
    constexpr std::string_view kSink = "/sink_port_0";
    return fullName.ends_with(kSink) ? fullName.substr(0, fullName.size() - kSink.size()) : fullName;
}

Description readDescription(std::string_view xml) {
    // Loops and branches have bodies with layers of their own, which lie deeper than net > layers > layer.
    constexpr int kDepthOfLayers = 2;
    Description description;
    int depth = 0;
    while (!xml.empty()) {
        const Tag tag = takeTag(xml);
        if (tag.element.starts_with('?') || tag.element.starts_with('!')) continue;
        if (tag.element == "net" && depth == 0) description.version = tag.version;
        if (tag.element == "layer" && depth == kDepthOfLayers) {
            if (tag.type == "Parameter") description.inputs.push_back(tag.name);
            if (tag.type == "Result") description.outputs.push_back(tag.name);
        }
        if (tag.element.starts_with('/')) {
            --depth;
        } else if (!tag.closed) {
            ++depth;
        }
    }
    return description;
}

}  // namespace xnn
