// Traces of the fake platform as they should be, in tests/traces.
#pragma once

#include <string>

namespace tonelink::test {

std::string documented_trace(const std::string &name);

/// Compares what the test's own thread and the others have done with the documented traces of that
/// name, which show once what the others may have done several times in a row.
void expect_documented(const std::string &name, const std::string &repeated = "");

} // namespace tonelink::test
