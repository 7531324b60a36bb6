/* SPDX-License-Identifier: Apache-2.0 */
// Running the built drelsim from a test: its exit status, standard output and error.
#pragma once

#include <cstdio>
#include <cstdlib>
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

const std::string kData = std::string(ZORV_SOURCE_DIR) + "/tests/drelsim";

// A file of the real configurations (realconfigs/<pair>/<file>) or of the samples (configs/).
inline std::string real(const std::string &pair, const std::string &file) {
    return kData + "/realconfigs/" + pair + "/" + file;
}
inline std::string sample(const std::string &file) {
    return kData + "/configs/" + file;
}

// The path of a program from the usual directories, or empty when it is not installed.
inline std::string find_tool(const std::string &name) {
    for (const char *dir : {"/usr/bin", "/usr/local/bin", "/bin"})
        if (std::filesystem::exists(std::string(dir) + "/" + name))
            return std::string(dir) + "/" + name;
    return "";
}

// Sets `var` to the path of `name`; without it the test skips with a message, except under
// CI=true, where ./dev setup has installed `package` and its absence is a failure.
#define DRELSIM_NEED_TOOL(var, name, package)                                                      \
    const std::string var = find_tool(name);                                                       \
    if (var.empty()) {                                                                             \
        const char *ci_ = std::getenv("CI");                                                       \
        ASSERT_FALSE(ci_ &&std::string(ci_) == "true")                                             \
            << name << " missing: run ./dev setup (it installs " << package << ")";                \
        GTEST_SKIP() << name << " is not installed (./dev setup installs " << package << ")";      \
    }

// Runs the shell command `cmd`; its exit status, and its output in `out`.
inline int shell(const std::string &cmd, std::string &out) {
    FILE *p = popen(cmd.c_str(), "r");
    if (!p) return -1;
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;)
        out.append(buf, n);
    const int status = pclose(p);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    // A copy of `path` named `name` with `from` (which must occur once) replaced by `to`.
    std::string edited(const std::string &path, const std::string &name, const std::string &from,
                       const std::string &to) {
        std::string text = slurp(path);
        const size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from << " occurs twice";
        if (at != std::string::npos) text.replace(at, from.size(), to);
        return write(name, text);
    }
    // xmllint's verdict on the JUnit file `xml` against the common schema ("... validates").
    std::string junit_validation(const std::string &xmllint, const std::string &xml) {
        std::string out;
        const int status =
            shell(xmllint + " --noout --schema " + kData + "/junit.xsd " + xml + " 2>&1", out);
        EXPECT_EQ(status, 0) << out;
        return out;
    }

    std::string dir_;
};

} // namespace
