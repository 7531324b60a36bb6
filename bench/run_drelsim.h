/* SPDX-License-Identifier: Apache-2.0 */
// Running the built drelsim from a benchmark: its exit status and standard output.
#pragma once

#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace bench {

struct Ran {
    int status = -1;
    std::string out;
};

// Runs drelsim (`exe`) with `args`, its standard error going to /dev/null.
inline Ran run_drelsim(const std::string &exe, std::vector<std::string> args) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    args.insert(args.begin(), exe);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        if (FILE *null = freopen("/dev/null", "w", stderr)) (void)null;
        std::vector<char *> argv;
        for (auto &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(exe.c_str(), argv.data());
        _exit(127);
    }
    close(fds[1]);
    Ran r;
    char buf[65536];
    for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;)
        r.out.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return r;
}

} // namespace bench
