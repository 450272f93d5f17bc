#include "platform/posix/resource_table.h"

namespace {

const char kFirst[] = "one\0block";
const char kSecond[] = "another language";

}  // namespace

extern "C" const ZelResource zel_resource_table[] = {
    {101, 1033, kFirst, sizeof kFirst - 1},
    {130, 2052, kSecond, sizeof kSecond - 1},
};
extern "C" const int zel_resource_count = 2;
