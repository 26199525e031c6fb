// Passes each given file, and each file in each given folder, to a fuzz target once.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

size_t replay(const std::filesystem::path& path) {
    if (std::filesystem::is_directory(path)) {
        size_t files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(path)) files += replay(entry.path());
        return files;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "%s: can't be read\n", path.c_str());
        std::exit(1);
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    size_t files = 0;
    for (int i = 1; i < argc; ++i) files += replay(argv[i]);
    std::printf("%zu inputs replayed\n", files);
    return files > 0 ? 0 : 1;
}
