#include "decode/lengths_option.h"

#include "arguments.h"

namespace tonelink::tool {

void add_lengths_option(CLI::App &command, message_lengths &lengths)
{
    CLI::Option *bits =
        command.add_option("--bits", lengths, "Length of the messages: 32, 48 or both (default)");
    take_one_of<message_lengths>(*bits->type_name("N"), {{"32", message_lengths::only_32},
                                                         {"48", message_lengths::only_48},
                                                         {"both", message_lengths::both}});
}

} // namespace tonelink::tool
