// Runs a fuzzer's function over all files of folders: how the corpus and every input that was once a find are tested
// without the fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size);

int main(int _count, char** _arguments) {
    std::set<std::filesystem::path> files;
    for (int i = 1; i < _count; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(_arguments[i])) files.insert(entry.path());
    }
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        // Before the run: the last line names the input that ended the process.
        std::printf("%s, %zu bytes\n", file.c_str(), bytes.size());
        static_cast<void>(std::fflush(stdout));
        // A copy that ends where the input ends, as the fuzzer gives it.
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    return files.empty() ? 2 : 0;
}
