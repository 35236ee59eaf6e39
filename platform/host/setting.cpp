#include "setting.h"

#include <cstdlib>

namespace tonelink::host {

void setting::set(const char *text)
{
    const std::lock_guard lock{mutex_};
    if (text != nullptr)
        text_ = text;
    else
        text_.reset();
}

std::optional<std::string> setting::get() const
{
    const std::lock_guard lock{mutex_};
    if (text_) return text_;
    const char *text = std::getenv(variable_);
    if (text == nullptr || *text == '\0') return std::nullopt;
    return text;
}

} // namespace tonelink::host
