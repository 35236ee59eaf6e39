#include "decode/listening_options.h"

#include "arguments.h"

namespace tonelink::tool {

void add_listening_options(CLI::App &command, listening &wanted)
{
    CLI::Option *bits = command.add_option("--bits", wanted.lengths,
                                           "Length of the messages: 32, 48 or both (default)");
    take_one_of<uint32_t>(*bits->type_name("N"),
                          {{"32", TONELINK_LENGTH_32},
                           {"48", TONELINK_LENGTH_48},
                           {"both", TONELINK_LENGTH_32 | TONELINK_LENGTH_48}});
    CLI::Option *method = command.add_option(
        "--method", wanted.methods,
        "How to listen: exact, the same on every machine; far, deeper; or both (default)");
    take_one_of<uint32_t>(*method->type_name("METHOD"),
                          {{"exact", TONELINK_METHOD_EXACT},
                           {"far", TONELINK_METHOD_FAR},
                           {"both", TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR}});
}

} // namespace tonelink::tool
