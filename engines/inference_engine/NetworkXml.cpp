#include "engines/inference_engine/NetworkXml.h"

#include <string_view>

namespace InferenceEngine::details {
namespace {

constexpr std::string_view kSinkSuffix = "/sink_port_0";

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

struct Entity {
    std::string_view text;
    char character;
};
constexpr Entity kEntities[] = {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};

std::string decodeEntities(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        size_t taken = 0;
        for (const Entity& entity : kEntities) {
            if (!text.starts_with(entity.text)) continue;
            result += entity.character;
            taken = entity.text.size();
        }
        if (taken == 0) {
            result += text.front();
            taken = 1;
        }
        text.remove_prefix(taken);
    }
    return result;
}

// One tag between '<' and '>', both excluded.
class Tag {
  public:
    explicit Tag(std::string_view text) : mText(text) {}

    bool closes() const { return mText.starts_with('/'); }
    bool isEmptyElement() const { return mText.ends_with('/'); }
    bool isElement() const { return !mText.empty() && mText.front() != '?' && mText.front() != '!'; }
    bool isNamed(std::string_view name) const {
        return mText.starts_with(name) && (mText.size() == name.size() || isSpace(mText[name.size()]));
    }

    std::string attribute(std::string_view name) const {
        size_t at = 0;
        while (true) {
            const size_t equals = mText.find('=', at);
            if (equals == std::string_view::npos) return {};
            const size_t open = mText.find_first_of("\"'", equals);
            if (open == std::string_view::npos) return {};
            const size_t close = mText.find(mText[open], open + 1);
            if (close == std::string_view::npos) return {};
            if (keyBefore(equals) == name) return decodeEntities(mText.substr(open + 1, close - open - 1));
            at = close + 1;
        }
    }

  private:
    std::string_view keyBefore(size_t equals) const {
        size_t end = equals;
        while (end > 0 && isSpace(mText[end - 1])) --end;
        size_t begin = end;
        while (begin > 0 && !isSpace(mText[begin - 1])) --begin;
        return mText.substr(begin, end - begin);
    }

    std::string_view mText;
};

// Position of the '>' that ends the tag opened before `at`; a quoted '>' does not.
size_t endOfTag(std::string_view xml, size_t at) {
    if (xml.substr(at).starts_with("!--")) {
        const size_t end = xml.find("-->", at);
        return end == std::string_view::npos ? end : end + 2;
    }
    char quote = 0;
    for (; at < xml.size(); ++at) {
        if (quote != 0) {
            if (xml[at] == quote) quote = 0;
        } else if (xml[at] == '"' || xml[at] == '\'') {
            quote = xml[at];
        } else if (xml[at] == '>') {
            return at;
        }
    }
    return std::string_view::npos;
}

}  // namespace

std::string shortOutputName(const std::string& layerName, const std::string& tensorName) {
    if (layerName.ends_with(kSinkSuffix)) return layerName.substr(0, layerName.size() - kSinkSuffix.size());
    return tensorName.empty() ? layerName : tensorName;
}

NetworkEnds scanNetworkEnds(const std::string& xml) {
    // The network's own layers lie at net > layers > layer, those of a body deeper.
    constexpr int kNetDepth = 0;
    constexpr int kLayerDepth = 2;
    NetworkEnds ends;
    int depth = 0;
    for (size_t open = xml.find('<'); open != std::string::npos;) {
        const size_t close = endOfTag(xml, open + 1);
        if (close == std::string::npos) break;
        const Tag tag(std::string_view(xml).substr(open + 1, close - open - 1));
        if (tag.closes()) {
            --depth;
        } else if (tag.isElement()) {
            if (depth == kNetDepth && tag.isNamed("net")) ends.name = tag.attribute("name");
            if (depth == kLayerDepth && tag.isNamed("layer")) {
                const std::string type = tag.attribute("type");
                if (type == "Parameter") ends.inputs.push_back(tag.attribute("name"));
                if (type == "Result") ends.outputs.push_back(tag.attribute("name"));
            }
            if (!tag.isEmptyElement()) ++depth;
        }
        open = xml.find('<', close);
    }
    return ends;
}

}  // namespace InferenceEngine::details
