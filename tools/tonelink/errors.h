// How a command ends when it cannot do its work: what it throws, and the exit status that becomes
// of it.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace tonelink::tool {

/// The caller asked for something that cannot be. The text says what would be right.
struct wrong_usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The exit statuses, as the manual page lists them.
enum exit_status {
    kDone = 0,
    kNothingHeard = 1, ///< the work was done, but no message was in the sound
    kWrongUsage = 2,
    kFileError = 3,   ///< of a file, a pipe or a standard stream
    kDeviceError = 4, ///< of a loudspeaker, a microphone or a Bluetooth adapter
    kFailed = 5,      ///< for any other reason
};

/// The request was right, but it could not be carried out.
struct failure : std::runtime_error {
    explicit failure(const std::string &what, exit_status becomes = kFailed)
        : std::runtime_error{what}, status{becomes}
    {
    }

    exit_status status;
};

/// A file, a pipe or a standard stream cannot be read or written.
struct file_failure : failure {
    explicit file_failure(const std::string &what) : failure{what, kFileError} {}
};

/// A device does not do what it should.
struct device_failure : failure {
    explicit device_failure(const std::string &what) : failure{what, kDeviceError} {}
};

/// What becomes of a command that ends with an exception other than wrong_usage.
inline exit_status status_of(const std::exception &reason)
{
    const auto *known = dynamic_cast<const failure *>(&reason);
    return known != nullptr ? known->status : kFailed;
}

} // namespace tonelink::tool
