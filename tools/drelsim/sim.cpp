// SPDX-License-Identifier: Apache-2.0
#include "sim.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "peer.h"

namespace drelsim {
namespace {

struct Child {
    pid_t pid = -1;
    int fd = -1;
    std::string data;
};

Child start_peer(Scenario &s, const SimOptions &o, int side, int links[2]) {
    int pipefd[2];
    if (pipe(pipefd) != 0) return {};
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        close(pipefd[0]);
        close(links[1 - side]);
        PeerOptions po;
        po.side = side;
        po.link_fd = links[side];
        po.result_fd = pipefd[1];
        po.corrupt = o.corrupt_side == side;
        po.events = o.events_side == side;
        po.rounds = o.rounds;
        po.rows = side == 0;
        po.turn_bytes = o.turn_bytes;
        run_peer(s, po);
    }
    close(pipefd[1]);
    if (pid < 0) {
        close(pipefd[0]);
        return {};
    }
    return Child{pid, pipefd[0], {}};
}

// Both pipes are drained together: a peer blocked on a full pipe would stall the other.
void drain(Child (&c)[2]) {
    for (;;) {
        pollfd p[2];
        int n = 0;
        for (auto &ch : c)
            if (ch.fd >= 0) p[n++] = pollfd{ch.fd, POLLIN, 0};
        if (n == 0) return;
        if (poll(p, n, -1) < 0 && errno != EINTR) return;
        for (int i = 0; i < n; ++i) {
            if (!(p[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            Child &ch = c[0].fd == p[i].fd ? c[0] : c[1];
            char buf[65536];
            ssize_t got = read(ch.fd, buf, sizeof buf);
            if (got > 0)
                ch.data.append(buf, static_cast<size_t>(got));
            else if (got == 0 || errno != EINTR)
                close(ch.fd), ch.fd = -1;
        }
    }
}

void parse(const std::string &data, PeerOutcome &out) {
    size_t pos = 0;
    while (data.size() - pos >= 8) {
        uint32_t head[2];
        std::memcpy(head, data.data() + pos, 8);
        if (head[1] > data.size() - pos - 8) break;
        std::string body = data.substr(pos + 8, head[1]);
        pos += 8 + head[1];
        RoundResult r;
        if (head[0] == kMsgRound && decode_round(body, r))
            out.rounds.push_back(std::move(r));
        else if (head[0] == kMsgEvents)
            out.events = body;
        else if (head[0] == kMsgFatal)
            out.fatal = body;
        else
            out.fatal = "garbled result stream";
    }
}

ProcessUse use_of(const rusage &u) {
    auto ms = [](const timeval &t) {
        return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
    };
    return {ms(u.ru_utime) + ms(u.ru_stime), u.ru_maxrss};
}

std::string exit_text(int status) {
    if (WIFSIGNALED(status))
        return "peer process killed by signal " + std::to_string(WTERMSIG(status));
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
        return "peer process exited with status " + std::to_string(WEXITSTATUS(status));
    return {};
}

} // namespace

ProcessUse self_use() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return use_of(u);
}

SimResult simulate(Scenario &s, const SimOptions &o) {
    SimResult res;
    int links[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, links) != 0) {
        res.peer[0].fatal = res.peer[1].fatal = "cannot create the peer link";
        return res;
    }
    Child c[2];
    malloc_trim(0); // each peer starts with what this process holds resident
    for (int side = 0; side < 2; ++side)
        c[side] = start_peer(s, o, side, links);
    close(links[0]);
    close(links[1]);
    drain(c);
    for (int side = 0; side < 2; ++side) {
        PeerOutcome &out = res.peer[side];
        if (c[side].pid < 0) {
            out.fatal = "cannot start the peer process";
            continue;
        }
        int status = 0;
        rusage u{};
        wait4(c[side].pid, &status, 0, &u);
        out.use = use_of(u);
        parse(c[side].data, out);
        if (out.fatal.empty()) out.fatal = exit_text(status);
        if (out.fatal.empty() && out.rounds.size() != o.rounds)
            out.fatal = "peer process reported " + std::to_string(out.rounds.size()) + " of " +
                        std::to_string(o.rounds) + " rounds";
    }
    return res;
}

} // namespace drelsim
