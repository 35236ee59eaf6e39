// Feeds the files of a folder to a fuzzer's function: its corpus as an ordinary test, without a
// fuzzing compiler.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/input.h"

int main(int argc, char **argv)
{
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(argc > 1 ? argv[1] : ".")) {
        std::ifstream file{entry.path(), std::ios::binary};
        const std::vector<char> bytes{std::istreambuf_iterator<char>{file}, {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
        ++files;
    }
    std::printf("%d inputs\n", files);
    return files > 0 ? 0 : 1;
}
