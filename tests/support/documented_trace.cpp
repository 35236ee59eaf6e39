#include "support/documented_trace.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

#include "support/fake_platform.h"

namespace tonelink::test {

std::string documented_trace(const std::string &name)
{
    std::ifstream file{TONELINK_TRACES + name};
    return {std::istreambuf_iterator{file}, {}};
}

void expect_documented(const std::string &name, const std::string &repeated)
{
    EXPECT_EQ(platform.trace(by::control), documented_trace(name + ".control"));
    std::string others = platform.trace(by::others);
    while (!repeated.empty()) {
        const auto at = others.find(repeated + repeated);
        if (at == std::string::npos) break;
        others.erase(at, repeated.size());
    }
    EXPECT_EQ(others, documented_trace(name + ".others"));
}

} // namespace tonelink::test
