// Runs a fuzzer's function over files, or over all files of folders, named on the command line; and then,
// with `--more COUNT` before them, over so many changed copies of them, the same each time. It sees no
// coverage: what ./dev fuzz finds, this would not; but it tries each build of ./dev test a little.

#include "fuzz.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Input = std::vector<uint8_t>;

Input read(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    fuzz::must(!file.bad(), "a corpus file can be read");
    return {bytes.begin(), bytes.end()};
}

void run(Input input) {
    input.shrink_to_fit(); // so that the address sanitizer sees who reads on
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

/* The same numbers each time. */
size_t next_random(size_t bound) {
    static uint64_t state = 1;
    state = state * 6364136223846793005U + 1442695040888963407U;
    return static_cast<size_t>(state >> 33U) % bound;
}

Input changed(const std::vector<Input> &inputs) {
    Input input = inputs[next_random(inputs.size())];
    for (size_t changes = next_random(4) + 1; changes > 0; --changes) {
        const size_t at = next_random(input.size() + 1);
        const auto place = input.begin() + static_cast<long>(at);
        const Input &other = inputs[next_random(inputs.size())];
        switch (next_random(4)) {
        case 0:
            input.insert(place, static_cast<uint8_t>(next_random(256)));
            break;
        case 1:
            if (place != input.end()) {
                *place = static_cast<uint8_t>(next_random(256));
            }
            break;
        case 2:
            input.erase(place,
                        place + std::min<long>(static_cast<long>(next_random(8)), input.end() - place));
            break;
        default:
            input.insert(place, other.begin(),
                         other.begin() + static_cast<long>(next_random(other.size() + 1)));
            break;
        }
    }
    return input;
}

std::vector<Input> read_all(char **names, char **end) {
    std::vector<std::filesystem::path> paths;
    for (; names < end; ++names) {
        if (std::filesystem::is_directory(*names)) {
            std::copy(std::filesystem::directory_iterator(*names), {}, std::back_inserter(paths));
        } else {
            paths.emplace_back(*names);
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<Input> inputs;
    std::transform(paths.begin(), paths.end(), std::back_inserter(inputs), read);
    return inputs;
}

} // namespace

int main(int argc, char **argv) {
    const bool more = argc > 2 && std::string(argv[1]) == "--more";
    const std::vector<Input> inputs = read_all(argv + (more ? 3 : 1), argv + argc);
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s [--more COUNT] FILE|FOLDER...\n", argv[0]);
        return 2;
    }
    std::for_each(inputs.begin(), inputs.end(), run);
    const long count = more ? std::strtol(argv[2], nullptr, 10) : 0;
    for (long i = 0; i < count; ++i) {
        run(changed(inputs));
    }
    std::printf("%zu inputs and %ld changed ones\n", inputs.size(), count);
    return 0;
}
