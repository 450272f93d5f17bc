#pragma once

#include <string>
#include <utility>
#include <vector>

namespace xnn {

// The answer to a question that takes several calls, kept from the call that measures it to those that copy it out: if
// it changed between them, the caller's buffer would be too small.
template <class Value>
class Answer {
  public:
    const Value& keep(std::string question, Value value) {
        mQuestion = std::move(question);
        mValue = std::move(value);
        return mValue;
    }

    // Null when another question was kept last, or none.
    const Value* find(const std::string& question) const { return question == mQuestion ? &mValue : nullptr; }

  private:
    std::string mQuestion;  // none is empty
    Value mValue;
};

using NumberMap = std::vector<std::pair<std::string, float>>;

}  // namespace xnn
