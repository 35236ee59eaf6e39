// Standard input, output and error of a program that was started without them.
#pragma once

namespace tonelink::tool {

/// Makes the numbers of those that are closed fail when they are used, so that no file that is
/// opened later is taken for one of them. To be called first.
void hold_standard_streams();

} // namespace tonelink::tool
