#include "input_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <unistd.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

constexpr std::size_t kMostAtOnce = 65536;
/// How long a request to stop may go unseen.
constexpr std::chrono::milliseconds kGlance{100};

} // namespace

input_stream::input_stream(file_descriptor input, std::string name, std::stop_token stop)
    : input_{std::move(input)}, name_{std::move(name)}, stop_{std::move(stop)}
{
}

bool input_stream::wait_for(std::size_t count, std::chrono::milliseconds at_most)
{
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + at_most;
    while (held_.size() < count && !has_ended_) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock::now());
        if (left.count() <= 0) return false;
        pollfd input{input_.get(), POLLIN, 0};
        const int ready = poll(&input, 1, static_cast<int>(std::min(left, kGlance).count()));
        if (stop_.stop_requested())
            has_ended_ = true;
        else if (ready > 0)
            take_what_is_there();
    }
    return true;
}

void input_stream::wait_for(std::size_t count)
{
    while (!wait_for(count, kGlance)) {
    }
}

void input_stream::take_what_is_there()
{
    const std::size_t before = held_.size();
    held_.resize(before + kMostAtOnce);
    const ssize_t count = read(input_.get(), held_.data() + before, kMostAtOnce);
    const int reason = errno;
    held_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    if (count == 0) has_ended_ = true;
    if (count < 0 && reason != EAGAIN && reason != EINTR)
        throw file_failure{"cannot read " + name_ + ": " + std::strerror(reason)};
}

void input_stream::drop(std::size_t count)
{
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(count));
}

} // namespace tonelink::tool
