/* SPDX-License-Identifier: Apache-2.0 */
// Running the built drelsim from a test: its exit status, standard output and error.
#pragma once

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

#ifdef DRELSIM_EXE
constexpr const char *kExe = DRELSIM_EXE;
const std::string kDir = DRELSIM_SCENARIOS;
#else
constexpr const char *kExe = "";
const std::string kDir;
#endif

struct Outcome {
    int status = -1;
    std::string out, err;
    const nlohmann::json &report() const { // parsed once, kept for references into it
        if (!parsed) parsed = nlohmann::json::parse(out);
        return *parsed;
    }
    mutable std::optional<nlohmann::json> parsed;
};

std::string slurp(const std::string &path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Runs drelsim with `args`; `mem_limit` bytes of address space when nonzero.
Outcome run(std::vector<std::string> args, rlim_t mem_limit = 0) {
    char out_path[] = "/tmp/drelsim_out_XXXXXX", err_path[] = "/tmp/drelsim_err_XXXXXX";
    int out_fd = mkstemp(out_path), err_fd = mkstemp(err_path);
    args.insert(args.begin(), kExe);
    pid_t pid = fork();
    if (pid == 0) {
        if (mem_limit) {
            const rlimit lim{mem_limit, mem_limit};
            setrlimit(RLIMIT_AS, &lim);
        }
        dup2(out_fd, 1);
        dup2(err_fd, 2);
        std::vector<char *> argv;
        for (auto &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(kExe, argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    close(out_fd);
    close(err_fd);
    Outcome r{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
              slurp(out_path),
              slurp(err_path),
              {}};
    unlink(out_path);
    unlink(err_path);
    return r;
}

// A test of the built drelsim with a scratch directory of its own, removed at the end; skips
// itself when drelsim is not built.
class ScratchTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!*kExe) GTEST_SKIP() << "drelsim is not built (ZORV_BUILD_TOOLS off)";
        char tmpl[] = "/tmp/drelsim_test_XXXXXX";
        dir_ = mkdtemp(tmpl);
    }
    void TearDown() override {
        if (!dir_.empty()) std::filesystem::remove_all(dir_);
    }
    // Writes `text` to a file `name` of the scratch directory; returns its path.
    std::string write(const std::string &name, const std::string &text) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    std::string dir_;
};

} // namespace
