#include "examples/quickstart/ChildProcess.h"

#include <cstdio>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           std::function<void(const std::string&)> onLine)
    : _onLine(std::move(onLine)) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int failure = posix_spawn(&_id, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    _output = ends[0];
    if (failure != 0) {
        close(_output);
        throw std::system_error(failure, std::generic_category(), "cannot start '" + command[0] + "'");
    }
    _reader = std::thread([this] { _readLines(); });
}

ChildProcess::~ChildProcess() {
    kill(_id, SIGTERM);
    waitpid(_id, nullptr, 0);
    _reader.join();
}

void ChildProcess::_readLines() {
    FILE* stream = fdopen(_output, "r");
    char* line = nullptr;
    std::size_t capacity = 0;
    for (ssize_t length = 0; (length = getline(&line, &capacity, stream)) > 0;) {
        _onLine(std::string(line, static_cast<std::size_t>(line[length - 1] == '\n' ? length - 1 : length)));
    }
    free(line);
    fclose(stream);
}
