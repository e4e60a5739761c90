#include "platform/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace orvane {

namespace {

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
};

void closeIfOpen(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

// Reads both pipes until each reaches end of file, so a chatty child can never block on a full pipe.
void drain(int outFd, int errFd, std::string& output, std::string& errorText) {
    pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    std::string* sinks[2] = {&output, &errorText};
    int open = 2;
    char buffer[4096];
    while (open > 0) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0)
                continue;
            const ssize_t got = ::read(fds[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(got));
            } else if (got == 0 || errno != EINTR) {
                fds[i].fd = -1; // poll ignores negative descriptors
                --open;
            }
        }
    }
}

} // namespace

tl::expected<ChildProcessResult, std::string> runChildProcess(const std::filesystem::path& program,
                                                              const std::vector<std::string>& arguments,
                                                              const std::filesystem::path& workingDirectory) {
    Pipe out;
    Pipe err;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return tl::unexpected(std::string(std::strerror(errno)));
    out = {fds[0], fds[1]};
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        const std::string text = std::strerror(errno);
        closeIfOpen(out.readEnd);
        closeIfOpen(out.writeEnd);
        return tl::unexpected(text);
    }
    err = {fds[0], fds[1]};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out.writeEnd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.writeEnd, STDERR_FILENO);
    if (!workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());

    const std::string programText = program.string();
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(programText.c_str()));
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    pid_t pid = 0;
    const int spawnStatus = ::posix_spawn(&pid, programText.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    closeIfOpen(out.writeEnd);
    closeIfOpen(err.writeEnd);
    if (spawnStatus != 0) {
        closeIfOpen(out.readEnd);
        closeIfOpen(err.readEnd);
        return tl::unexpected(std::string(std::strerror(spawnStatus)));
    }

    ChildProcessResult result;
    drain(out.readEnd, err.readEnd, result.output, result.errorText);
    closeIfOpen(out.readEnd);
    closeIfOpen(err.readEnd);

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return tl::unexpected(std::string(std::strerror(errno)));
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace orvane
