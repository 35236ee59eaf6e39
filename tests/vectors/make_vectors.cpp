// Writes docs/vectors/bursts.json or receptions.json to standard output, as the library makes them
// now. Argument: bursts or receptions.
#include <iostream>
#include <string_view>

#include "vectors/vectors.h"

int main(int argc, char **argv)
{
    const std::string_view wanted = argc == 2 ? argv[1] : "";
    if (wanted == "bursts") {
        tonelink::test::write_bursts(std::cout);
    } else if (wanted == "receptions") {
        tonelink::test::write_receptions(std::cout);
    } else {
        std::cerr << "usage: make_vectors bursts|receptions\n";
        return 2;
    }
    return std::cout.flush() ? 0 : 1;
}
