#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/limits/AppendRendering.h"
#include "benchmarks/limits/ReusedParser.h"
#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/MemoryStream.h"
#include "foundation/cimxml/ORVCIMMessage.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/CIMUtil.h"

#include <memory>
#include <stdexcept>

// 13 and 14: writing an export document, and judging an answer.

namespace velm::bench {

namespace {

std::size_t documentsOf(const Session& session) {
    return session.sized<std::size_t>(20'000, 3000);
}

/// As it is reported to a class-wide subscriber of creations: delivered as type 128.
Indication deliveredEvent(std::uint32_t index) {
    const Indication reported = fullEvent(index);
    return Indication(new COrvoIndication(reported->getObject(), IOrvoIndication::IndicationEnterAssociation,
                                          nullptr, reported->getContext(), IOrvoIndication::IntentDeliver,
                                          nullptr, false));
}

void render(IOrvoIndication& indication, std::ostream& stream) {
    ORVString host = localHost;
    ORVString port = localPort;
    CIMUtil::StreamMessageHeader(stream, 0);
    CIMUtil::StreamIndication(stream, indication, host, port, true, false);
    CIMUtil::StreamMessageTrailer(stream);
}

std::vector<Measurement> renderOurs(std::size_t documents) {
    pinThread(cores().first);
    const auto stream = std::make_shared<OutputText>();
    render(*deliveredEvent(7), *stream);
    requireSameDocument(fullEventText(7), stream->text());
    return {[stream, documents] {
        std::uint32_t next = 0;
        return Sample{meanTime(
            documents, [&] { return deliveredEvent(next++); },
            [&](const Indication& indication) {
                stream->clear();
                render(*indication, *stream);
            })};
    }};
}

std::vector<Measurement> renderLimit(std::size_t documents) {
    pinThread(cores().first);
    return {[documents] {
        std::uint32_t next = 0;
        std::string text;
        return Sample{meanTime(
            documents, [&] { return fullEventText(next++); },
            [&](const FullEventText& event) {
                text.clear();
                appendDocument(event, "1000000", "20261120153342.000000+000", text);
            })};
    }};
}

/// As the delivery thread does it, whose own judgement is not public.
void judge(const std::string& answer) {
    InputText stream(answer);
    const ORVCIMMessage message(stream, false, true);
    const auto value =
        message.getSimpleExpRsp()->getMethodResponse()->getReturnValue()->getValue()->getSint32();
    if (value != 0) {
        throw std::runtime_error("a good answer was judged bad");
    }
}

std::vector<Measurement> judgeOurs(std::size_t documents) {
    pinThread(cores().first);
    return {[documents] {
        return Sample{meanTime(
            documents, [] { return listenerAnswerBody(); },
            [](const std::string& answer) { judge(answer); })};
    }};
}

std::vector<Measurement> judgeLimit(std::size_t documents) {
    pinThread(cores().first);
    const auto parser = std::make_shared<ReusedParser>();
    return {[parser, documents] {
        return Sample{meanTime(
            documents, [] { return listenerAnswerBody(); },
            [&](const std::string& answer) { parser->parse(answer); })};
    }};
}

using SetUp = std::vector<Measurement> (*)(std::size_t documents);

void measure(Session& session, const Naming& naming, SetUp ours, SetUp limit, const Target& target) {
    const std::size_t documents = documentsOf(session);
    Worker oursWorker([=] { return ours(documents); });
    Worker limitWorker([=] { return limit(documents); });
    const auto sides = measureInTurn(session.rounds(), {session.side(oursWorker), session.side(limitWorker)});
    session.add(timeRow(naming, sides[0].value, sides[1].value, As::cost, target));
}

}  // namespace

void measureRendering(Session& session) {
    session.attempt(13, "rendering", [&] {
        measure(session, {13, "rendering one export document", oneCore}, renderOurs, renderLimit,
                Target::atMost(1.5, 1.2));
    });
}

void measureAnswers(Session& session) {
    session.attempt(14, "judging an answer", [&] {
        measure(session, {14, "judging one answer", oneCore}, judgeOurs, judgeLimit,
                Target::atMost(1.15, 1.05));
    });
}

}  // namespace velm::bench
