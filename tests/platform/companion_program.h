// A program that runs beside a test.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace tonelink::test {

/// Runs a program, by a line of the shell, until the result goes, or the test's process: a shell
/// waits for the end of a pipe, and ends the program.
inline std::unique_ptr<std::FILE, int (*)(std::FILE *)> run_beside(const std::string &command)
{
    return {popen((command + " & read end; kill -9 $!; wait").c_str(), "we"), pclose};
}

} // namespace tonelink::test
