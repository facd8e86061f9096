// In libFuzzer's place where a target is built without it: hands the target every file of the folders that are named.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    size_t files = 0;
    for (int i = 1; i < argc; ++i) {
        // libFuzzer's options.
        if (std::string_view(argv[i]).starts_with('-'))
            continue;
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            // Said before, so that the last name is that of the input at fault.
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> input(std::istreambuf_iterator<char>(file), {});
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
            ++files;
        }
    }
    std::printf("%zu inputs\n", files);
    return files == 0 ? 1 : 0;
}
