#include "benchmarks/peers/Velmd.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

namespace velm::bench {

namespace {

/// A provider that others may write to is refused.
std::filesystem::path providerFolder(const std::filesystem::path& provider,
                                     const std::filesystem::path& folder) {
    const auto providers = folder / "providers";
    const auto file = providers / "libburst_provider.so";
    std::filesystem::create_directory(providers);
    std::filesystem::copy_file(provider, file);
    std::filesystem::permissions(providers, std::filesystem::perms::owner_all);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return providers;
}

pid_t start(const std::vector<std::string>& command, const std::filesystem::path& log) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
        std::vector<char*> arguments;
        for (const std::string& argument : command) {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    return child;
}

std::string request(const std::string& method, const Velmd::Parameters& parameters) {
    std::string body = fmt::format(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
        "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"{}\"><LOCALNAMESPACEPATH>"
        "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"kob\"/><NAMESPACE NAME=\"talmora\"/>"
        "</LOCALNAMESPACEPATH>",
        method);
    for (const auto& [name, element] : parameters) {
        body += fmt::format("<IPARAMVALUE NAME=\"{}\">{}</IPARAMVALUE>", name, element);
    }
    body += "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
    return fmt::format(
        "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; charset=\"utf-8\"\r\n"
        "CIMOperation: MethodCall\r\nCIMMethod: {}\r\nCIMObject: root/kob/talmora\r\nContent-Length: {}"
        "\r\n\r\n{}",
        method, body.size(), body);
}

}  // namespace

Velmd::Velmd(const std::filesystem::path& program, const std::filesystem::path& provider,
             const std::filesystem::path& folder)
    : _logFile(folder / "velmd.log"),
      _process(start({program.string(), "--state-dir", (folder / "state").string(), "--port", "0", "--set",
                      "Providers.Directory=" + providerFolder(provider, folder).string(), "--set",
                      "Providers.burst=" + folder.string()},
                     _logFile)) {
    try {
        _awaitServing();
    } catch (...) {
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
        throw;
    }
}

Velmd::~Velmd() {
    ::kill(_process, SIGKILL);
    ::waitpid(_process, nullptr, 0);
}

std::string Velmd::_log() const {
    std::ifstream stream(_logFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void Velmd::_awaitServing() {
    constexpr std::string_view line = "Serving on port ";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (_port == 0) {
        const std::string said = _log();
        const std::size_t found = said.find(line);
        if (found != std::string::npos && said.find('\n', found) != std::string::npos) {
            std::from_chars(said.data() + found + line.size(), said.data() + said.size(), _port);
            return;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("velmd does not serve: " + said);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

Socket Velmd::call(const std::string& method, const Parameters& parameters) {
    Socket connection = connectTo(_port);
    sendAll(connection.get(), request(method, parameters));
    std::string answer;
    char chunk[4096];
    while (answer.find("</CIM>") == std::string::npos) {
        const std::size_t size = receive(connection.get(), chunk, sizeof chunk);
        if (size == 0) {
            throw std::runtime_error(method + " was not answered: " + answer);
        }
        answer.append(chunk, size);
    }
    if (answer.find("<ERROR") != std::string::npos) {
        throw std::runtime_error(method + " failed: " + answer);
    }
    return connection;
}

}  // namespace velm::bench
