#include "ExternalFileChooser.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

extern char** environ;

namespace {

std::string findOnPath(const char* name) {
    const char* path = std::getenv("PATH");
    std::string dirs = path != nullptr ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        const size_t end = std::min(dirs.find(':', start), dirs.size());
        const std::string candidate = dirs.substr(start, end - start) + "/" + name;
        if (end > start && ::access(candidate.c_str(), X_OK) == 0) return candidate;
        start = end + 1;
    }
    return {};
}

}  // namespace

ExternalFileChooser::ExternalFileChooser() {
    for (const char* name : {"zenity", "kdialog"}) {
        tool = findOnPath(name);
        if (!tool.empty()) break;
    }
}

ExternalFileChooser::~ExternalFileChooser() {
    if (child > 0) {
        ::kill(child, SIGTERM);
        ::waitpid(child, nullptr, 0);
    }
    if (output >= 0) ::close(output);
}

std::vector<std::string> ExternalFileChooser::commandFor(const std::string& tool, const FileRequest& request) {
    const std::string filter = "*." + request.type;
    if (std::filesystem::path(tool).filename() == "kdialog") {
        return {tool, request.save ? "--getsavefilename" : "--getopenfilename", request.initialPath, filter,
                "--title", request.title};
    }
    std::string start = request.initialPath;
    // zenity opens a folder when the name ends in a slash.
    if (!request.save && !start.empty() && start.back() != '/') start += '/';
    std::vector<std::string> args{tool, "--file-selection", "--title=" + request.title, "--filename=" + start,
                                  "--file-filter=" + filter};
    if (request.save) args.insert(args.begin() + 2, {"--save", "--confirm-overwrite"});
    return args;
}

void ExternalFileChooser::choose(const FileRequest& request, std::function<void(const std::string*)> done) {
    if (child > 0 || tool.empty()) {
        done(nullptr);
        return;
    }
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        done(nullptr);
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    const std::vector<std::string> args = commandFor(tool, request);
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int status = posix_spawn(&pid, tool.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (status != 0) {
        ::close(fds[0]);
        done(nullptr);
        return;
    }
    ::fcntl(fds[0], F_SETFL, O_NONBLOCK);
    child = pid;
    output = fds[0];
    answer.clear();
    pending = std::move(done);
}

bool ExternalFileChooser::pump() {
    if (child <= 0) return true;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(output, buffer, sizeof buffer);
        if (n > 0) {
            answer.append(buffer, size_t(n));
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        break;
    }
    int status = 0;
    const pid_t ended = ::waitpid(child, &status, WNOHANG);
    if (ended == 0) return false;
    // Anything the program wrote before it ended is still in the pipe.
    for (ssize_t n; (n = ::read(output, buffer, sizeof buffer)) > 0;) answer.append(buffer, size_t(n));
    ::close(output);
    output = -1;
    child = -1;
    while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) answer.pop_back();
    const bool chosen = ended > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 && !answer.empty();
    auto done = std::move(pending);
    pending = nullptr;
    if (done) done(chosen ? &answer : nullptr);
    return true;
}
