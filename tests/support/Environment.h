#pragma once

#include <string>

namespace zeltest {

// Sets an environment variable of this process, for it and for the libraries that it loads; "" takes its value away.
// Not while another thread looks at the environment.
void setVariable(const std::string& name, const std::string& value);

}  // namespace zeltest
