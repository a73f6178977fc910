// Runs a fuzz target over files, as libFuzzer would run it over a corpus,
// without libFuzzer: each argument is a file or a directory of files.  A
// missing or empty corpus fails, so that every target keeps its seeds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool run_file(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // An exactly sized heap copy, so that the sanitizers see reads past it.
    std::vector<uint8_t> input(bytes.begin(), bytes.end());
    static const uint8_t kEmpty = 0;
    LLVMFuzzerTestOneInput(input.empty() ? &kEmpty : input.data(), input.size());
    return true;
}

}  // namespace

int main(int argc, char **argv)
{
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        if (fs::is_directory(argv[i], ec)) {
            for (const auto &entry : fs::recursive_directory_iterator(argv[i]))
                if (entry.is_regular_file())
                    count += run_file(entry.path()) ? 1 : 0;
        } else if (fs::is_regular_file(argv[i], ec)) {
            count += run_file(argv[i]) ? 1 : 0;
        } else {
            std::fprintf(stderr, "no such corpus: %s\n", argv[i]);
            return 1;
        }
    }
    std::printf("%zu inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
