#include "velmd/settings/SettingRule.h"

#include <array>

namespace velm {

namespace {

using Kind = SettingRule::Kind;

enum When { live, atStart };

constexpr std::int64_t longestPath = 4096;
constexpr std::int64_t longestHost = 255;
constexpr std::int64_t million = 1'000'000;
constexpr std::int64_t oneDay = 86'400;
constexpr std::int64_t tenYears = 3650 * oneDay;

constexpr SettingRule number(const char* section, const char* key, const char* fallback, std::int64_t minimum,
                             std::int64_t maximum, When when, const char* meaning) {
    return {section, key, Kind::number, fallback, minimum, maximum, "", when == live, meaning};
}

constexpr SettingRule text(const char* section, const char* key, const char* fallback, std::int64_t shortest,
                           When when, const char* meaning) {
    return {section, key, Kind::text, fallback, shortest, longestPath, "", when == live, meaning};
}

constexpr SettingRule other(const char* section, const char* key, Kind kind, const char* fallback,
                            const char* choices, When when, const char* meaning) {
    return {section, key, kind, fallback, 0, longestHost, choices, when == live, meaning};
}

constexpr std::array rules{
    other("Server", "Addresses", Kind::addresses, "127.0.0.1, ::1", "", atStart,
          "Where to listen. Requests are neither encrypted nor authenticated, so that only this machine is "
          "served."),
    number("Server", "Port", "5988", 0, 65535, atStart,
           "The TCP port, the same for all addresses. 0: the kernel chooses one, and the log names it."),
    number("Server", "Workers", "4", 1, 256, atStart,
           "Threads that carry out requests, and so how many are carried out at the same time."),
    other("Server", "HostName", Kind::host, "", "", atStart,
          "What the server calls its machine in object paths. Empty: the machine's own name."),
    text("Server", "StateDirectory", "/var/lib/velm", 1, atStart,
         "Where the repository is kept. It is created when it does not exist, and serves one daemon at a "
         "time."),
    number("Server", "DrainSeconds", "10", 0, 3600, live,
           "Seconds that a stop waits for requests under way, for half of them at the most, and for queued "
           "indications. The log says what was left undone. Told to stop again, the daemon ends at once."),

    number("Limits", "MaxHeaderBytes", "16384", 1024, 1 << 20, atStart,
           "Bytes of a request's start line and header lines. More are answered with 431."),
    number("Limits", "MaxBodyBytes", "16777216", 1024, 1 << 30, atStart,
           "Bytes of a request's body. More are answered with 413."),
    number(
        "Limits", "MaxConnections", "20000", 1, million, atStart,
        "Connections at the same time; one more is answered with 503. Each takes a file descriptor, and some "
        "kilobytes while it is idle."),
    number(
        "Limits", "MaxHeldBytes", "268435456", 1 << 20, 1LL << 40, atStart,
        "Bytes of requests and responses that are held for all clients together. Past it whoever holds most "
        "is let go: with 503 while its request comes in, or instead of its response; with a reset while it "
        "takes its response."),
    number("Limits", "MaxWaitingRequests", "1000", 1, million, atStart,
           "Requests that wait for a worker; one more is answered with 503."),
    number("Limits", "MaxXMLDepth", "64", 16, 1000, atStart,
           "Elements that may be nested in a request's document."),
    number(
        "Limits", "MaxXMLMarkup", "500000", 1000, 100 * million, atStart,
        "Tags and attributes of a request's document, each of which may take over a hundred bytes of memory. "
        "More are answered with 413."),
    number("Limits", "IdleSeconds", "300", 1, oneDay, atStart,
           "Seconds that a connection may wait for its next request before it is closed."),
    number("Limits", "RequestSeconds", "60", 1, 3600, atStart,
           "Seconds for the head of a request, from its first byte, and as many for its body."),
    number("Limits", "WriteSeconds", "60", 1, 3600, atStart,
           "Seconds for which a client may take nothing of its response."),

    text("Providers", "Directory", "", 0, atStart,
         "The directory whose providers (lib*_provider.so) are loaded. Empty: where those that came with the "
         "daemon "
         "are installed."),

    number("VELM", "CimTransactionTimeout", "600", 1, oneDay, atStart,
           "Seconds that a call into a provider may take before a warning says that it is late."),
    number(
        "VELM", "SubscriberTimeout", "900", 0, tenYears, atStart,
        "Seconds without a heartbeat after which a subscriber expires that has a channel or once sent one. "
        "0: never."),
    number("VELM", "MaxQueuedIndications", "100000", 0, 1000 * million, atStart,
           "Indications that wait for one subscriber before the oldest is dropped, counted and logged. 0: no "
           "bound."),
    number("VELM", "MaxSubscribers", "100000", 0, 1000 * million, atStart,
           "Subscribers that are kept; one more is answered with CIM status 27 until another goes. Without a "
           "channel and heartbeats, those on this machine stay for good, and those elsewhere until an "
           "indication cannot be sent. Each takes about 1500 bytes, and what is queued for it. 0: no bound."),

    text("Log", "File", "", 0, live, "The file that the log is written to. Empty: standard error."),
    other("Log", "Format", Kind::choice, "text", "text json", live,
          "Lines of text, or one JSON object in each line."),
    number("Log", "Severity", "4", 1, 4, live,
           "What is logged: 1 errors, 2 also warnings, 3 also information, 4 also details, among them failed "
           "deliveries."),
    number("Log", "TraceSeverity", "3", 0, 4, live,
           "The same for trace lines. 4 shows every indication received and every subscription made; 0 shows "
           "none."),
    number(
        "Log", "MaxBytes", "10000000", 10'000, million* million, live,
        "Bytes of the log file. A full one is renamed (velmd.log becomes velmd.1.log) and a new one begun."),
    number(
        "Log", "MaxFiles", "5", 0, 1000, live,
        "Full log files that are kept. 0: a full file is emptied. A log that something else rotates wants a "
        "large MaxBytes, and SIGHUP after each rotation."),
    text("Log", "LogDir", "", 0, atStart,
         "Where the record of indications, LegacyIndicationsLog.txt, is kept. Empty: the state directory."),
    other(
        "Log", "RecordIndications", Kind::flag, "FALSE", "", live,
        "Whether every indication that is delivered is recorded there. The record has no bound. The file is "
        "there in any case: each start leaves a line in it."),
};

}  // namespace

std::span<const SettingRule> settingRules() {
    return rules;
}

}  // namespace velm
