#include "velmctl/client/ListenerProbe.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/HeaderFindings.h"
#include "velmctl/output/Text.h"
#include "velmctl/output/TextTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using Grade = HeaderFinding::Grade;
using Verdict = ProbeResult::Verdict;

constexpr const char* sentMessageID = "1";
constexpr std::size_t shownSize = 200;
constexpr std::size_t indent = 2;

const char* nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::accepted:
            return "accepted";
        case Verdict::refused:
            return "refused";
        case Verdict::badStatus:
            return "badStatus";
        case Verdict::noResponse:
            return "noResponse";
        case Verdict::noAnswer:
            return "noAnswer";
        case Verdict::noConnection:
            return "noConnection";
    }
    return "";
}

const char* nameOf(Grade grade) {
    return grade == Grade::good ? "good" : grade == Grade::wrong ? "wrong" : "neutral";
}

/// What to do about it.
const char* adviceFor(Verdict verdict) {
    switch (verdict) {
        case Verdict::accepted:
            return "";
        case Verdict::refused:
            return "The listener read the message and did not want it; its own log tells more.";
        case Verdict::badStatus:
            return "A listener answers 200 to every message that it can read; look at its path and headers.";
        case Verdict::noResponse:
            return "The body has to be a CIM document with a SIMPLEEXPRSP and an EXPMETHODRESPONSE.";
        case Verdict::noAnswer:
            return "The listener took the message; it has to answer each before the next comes.";
        case Verdict::noConnection:
            return "Start the listener, or look at the address on which it listens.";
    }
    return "";
}

class PingListener : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions&) override {
        CLI::App* command = program.add_subcommand(
            "ping-listener", "Send one test indication to a listener and explain its answer");
        command->add_option("LISTENER", _listener, "Where it listens: HOST:PORT")->type_name("")->required();
        command->add_option("--path", _path, "Path of the request; default: /indication, as the daemon's")
            ->type_name("PATH");
        command
            ->add_option("--timeout", _seconds,
                         "Seconds for connecting and for the answer; default: 30, as the daemon's")
            ->type_name("SECONDS")
            ->check(numberFrom(1, 3600));
        command->add_flag("--xml", _withDocument, "Print the document that was sent, too");
        return command;
    }

    int run(const CommonOptions&, Output& output) override {
        const ProbeResult result =
            probeListener(HostPort::parse(_listener), _path, std::chrono::seconds(_seconds));
        output.writesJson() ? output.json(_json(result)) : _explain(result, output);
        return result.verdict == Verdict::accepted ? ExitCode::done : ExitCode::notAccepted;
    }

private:
    static std::vector<HeaderFinding> _findings(const ProbeResult& result) {
        const bool isHTTP = result.statusLine.starts_with("HTTP/");
        return isHTTP ? judgeHeaders(result.headerLines, result.verdict != Verdict::badStatus)
                      : std::vector<HeaderFinding>();
    }

    Json _json(const ProbeResult& result) const {
        Json headers = Json::array();
        for (const HeaderFinding& finding : _findings(result)) {
            headers.append(Json::object()
                               .add("line", finding.line)
                               .add("grade", nameOf(finding.grade))
                               .add("remark", finding.remark));
        }
        Json json = Json::object();
        json.add("listener", _listener)
            .add("accepted", result.verdict == Verdict::accepted)
            .add("verdict", nameOf(result.verdict))
            .add("explanation", result.explanation)
            .add("milliseconds", static_cast<std::int64_t>(result.time.count()))
            .add("statusLine", result.statusLine)
            .add("headers", headers);
        return _withDocument ? json.add("sent", result.sent) : json;
    }

    void _explain(const ProbeResult& result, Output& output) const {
        if (_withDocument) {
            output.line(printableLines(result.sent));
        }
        if (!result.statusLine.empty()) {
            output.line(output.coloured(Colour::bold, printable(shortened(result.statusLine, shownSize))));
        }
        _explain(_findings(result), output);
        const bool isAccepted = result.verdict == Verdict::accepted;
        const std::string verdict = isAccepted ? "accepted" : "not accepted";
        std::string explanation = paragraph(
            fmt::format("{}: {} ({} ms)", verdict, printable(result.explanation), result.time.count()),
            output.proseColumns(), indent);
        explanation.replace(0, verdict.size(),
                            output.coloured(isAccepted ? Colour::green : Colour::red, verdict));
        output.line(explanation);
        if (!result.messageID.empty() && result.messageID != sentMessageID) {
            output.prose(
                fmt::format("The answer is to message '{}', but '{}' was sent; the daemon does not mind.",
                            printable(shortened(result.messageID, shownSize)), sentMessageID));
        }
        if (!isAccepted) {
            output.prose(adviceFor(result.verdict));
        }
    }

    static void _explain(const std::vector<HeaderFinding>& findings, Output& output) {
        TextTable table({{""}, {""}, {""}});
        for (const HeaderFinding& finding : findings) {
            const bool isWrong = finding.grade == Grade::wrong;
            const TextTable::Cell mark = isWrong                        ? TextTable::Cell("!", Colour::red)
                                         : finding.grade == Grade::good ? TextTable::Cell("+", Colour::green)
                                                                        : TextTable::Cell("");
            table.add({mark,
                       printable(shortened(finding.line, shownSize)),
                       {finding.remark, isWrong ? Colour::red : Colour::faint}});
        }
        for (const std::string& line : table.lines(output.columns(), output)) {
            output.line(line);
        }
    }

    std::string _listener;
    std::string _path = "/indication";
    int _seconds = 30;
    bool _withDocument = false;
};

}  // namespace

std::unique_ptr<Command> makePingListener() {
    return std::make_unique<PingListener>();
}

}  // namespace velm
