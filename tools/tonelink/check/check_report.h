// What `tonelink check` tells: lines for a person, or one object of JSON for a program.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "check/path_verdict.h"

namespace tonelink::tool {

/// A check that was done, or could not be.
struct check_result {
    check_task task;
    std::string output, input; ///< as an option names them, empty where there is none
    path_figures figures;
    path_verdict verdict;
};

/// Several lines: the devices, the figures, the verdict with what is wrong.
std::string text_of(const check_result &done);

/// One object of JSON in a line.
std::string line_of(const check_result &done);

/// Which devices, at which rates: "played to alsa:default at 48000 Hz, heard from ...".
std::string text_of_devices(const check_result &done);

/// "good: ...", and what that means, in a line without its end.
std::string text_of_verdict(const check_result &done);

/// The figures as pairs of a name and its value in words, without those that were not measured.
std::vector<std::pair<std::string, std::string>> rows_of(const check_result &done);

} // namespace tonelink::tool
