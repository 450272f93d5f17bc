#include "tests/support/Environment.h"

#include <cstdlib>
#include <list>

namespace zeltest {

void setVariable(const std::string& name, const std::string& value) {
    static std::list<std::string> kept;  // the environment goes on pointing to them
    kept.push_back(name + '=' + value);
    putenv(kept.back().data());
}

}  // namespace zeltest
