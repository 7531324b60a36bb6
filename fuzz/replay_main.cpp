// SPDX-License-Identifier: Apache-2.0
// replay_main.cpp - runs every file of the corpus directories named on the command line through
// a fuzz target's LLVMFuzzerTestOneInput, in name order, without libFuzzer. A crash, a
// sanitizer report or a failed target check ends the process abnormally; an empty or missing
// directory is an error. With --mutate N, each file is also mutated N times by the target's
// custom mutator (fixed seeds) and each result run as well.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed);

// Without libFuzzer the byte-level mutation leaves the input as it is.
extern "C" size_t LLVMFuzzerMutate(uint8_t * /*data*/, size_t size, size_t /*max*/) {
    return size;
}

int main(int argc, char **argv) {
    unsigned mutate = 0;
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--mutate") == 0 && i + 1 < argc) {
            mutate = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
            continue;
        }
        const std::filesystem::path dir(argv[i]);
        std::error_code ec;
        for (const auto &e : std::filesystem::directory_iterator(dir, ec))
            if (e.is_regular_file()) files.push_back(e.path());
        if (ec) {
            std::fprintf(stderr, "replay: cannot read %s: %s\n", argv[i], ec.message().c_str());
            return 2;
        }
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "replay: no input files\n");
        return 2;
    }
    size_t runs = 0;
    for (const auto &f : files) {
        std::ifstream s(f, std::ios::binary);
        std::vector<uint8_t> data((std::istreambuf_iterator<char>(s)),
                                  std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(data.data(), data.size());
        ++runs;
        for (unsigned k = 0; k < mutate; ++k) {
            std::vector<uint8_t> m(data);
            const size_t max = std::max<size_t>(m.size() * 2, 4096);
            m.resize(max);
            m.resize(LLVMFuzzerCustomMutator(m.data(), data.size(), max, k * 7919u + 1));
            LLVMFuzzerTestOneInput(m.data(), m.size());
            ++runs;
        }
    }
    std::printf("replay: %zu files, %zu runs, all passed\n", files.size(), runs);
    return 0;
}
