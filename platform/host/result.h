// The host platform's result codes, and the boundary that every exported function goes through:
// inside, what fails may throw; a program sees the code, and the log has the reason.
#pragma once

#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tonelink::host {

constexpr int kOk = 0;
constexpr int kInvalidParameter = -22;
constexpr int kOutOfMemory = -12;
constexpr int kInvalidOperation = -38;
constexpr int kDeviceNotOpened = -26214399;
constexpr int kDeviceNotClosed = -26214398;
constexpr int kInvalidBuffer = -26214397;
constexpr int kBluetoothNotEnabled = -29359870;
constexpr int kBluetoothFailed = -29359868;

/// Something that could not be done: its result code, and a line that says what and why.
class failure : public std::runtime_error {
public:
    failure(int code, const std::string &what) : std::runtime_error{what}, code_{code} {}
    int code() const noexcept { return code_; }

private:
    int code_;
};

/// Logs the line and keeps it for tonelink_host_get_last_error().
void report_failure(const char *what) noexcept;

/// Logs the line and keeps it for tonelink_host_get_last_warning().
void report_warning(const char *what) noexcept;

/// Runs the body of an exported function and makes its result of whatever it throws.
template <class Body> int at_boundary(Body body) noexcept
{
    try {
        return body();
    } catch (const failure &failed) {
        report_failure(failed.what());
        return failed.code();
    } catch (const std::exception &failed) { // no memory, no thread
        report_failure(failed.what());
        return kOutOfMemory;
    }
}

} // namespace tonelink::host
