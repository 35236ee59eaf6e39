#include "decode/listening_options.h"

#include "arguments.h"

namespace tonelink::tool {

void add_listening_options(CLI::App &command, listening &wanted)
{
    CLI::Option *bits =
        command.add_option("--bits", wanted.lengths, "Length of the messages (default both)");
    take_one_of<uint32_t>(*bits, {{"32", TONELINK_LENGTH_32},
                                  {"48", TONELINK_LENGTH_48},
                                  {"both", TONELINK_LENGTH_32 | TONELINK_LENGTH_48}});
    CLI::Option *method = command.add_option(
        "--method", wanted.methods,
        "How to listen: exact, the same on every machine, or far, deeper (default both)");
    take_one_of<uint32_t>(*method, {{"exact", TONELINK_METHOD_EXACT},
                                    {"far", TONELINK_METHOD_FAR},
                                    {"both", TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR}});
}

} // namespace tonelink::tool
