// Replays kept fuzzer inputs through a fuzz target without libFuzzer, so that
// every build runs them as a test: each argument is a file or a folder of
// files. Fails when no input is found (a misplaced corpus is a fault too).
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool Replay(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
        return false;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    size_t replayed = 0;
    for (int i = 1; i < argc; i++) {
        const std::filesystem::path path(argv[i]);
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            for (const auto& entry : std::filesystem::directory_iterator(path)) {
                if (!entry.is_regular_file() || entry.path().filename().string()[0] == '.')
                    continue;
                if (!Replay(entry.path()))
                    return 1;
                replayed++;
            }
        } else if (std::filesystem::exists(path, error)) {
            if (!Replay(path))
                return 1;
            replayed++;
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
