// A sink in which nothing is heard: time passes, no more.

#include "pacer.h"
#include "sink.h"

namespace tonelink::host {

namespace {

class null_sink final : public sink {
public:
    explicit null_sink(int rate) : pacer_{rate} {}

    void play(std::span<const std::int16_t> samples) override { pacer_.take(samples.size()); }
    void drain() noexcept override { pacer_.drain(); }

private:
    pacer pacer_;
};

} // namespace

std::unique_ptr<sink> open_null_sink(int rate) { return std::make_unique<null_sink>(rate); }

} // namespace tonelink::host
