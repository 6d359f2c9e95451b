#include "DevBackend/Faults.h"

#include <gmock/gmock.h>

namespace devbackend {
namespace {

using std::chrono::milliseconds;
using Manner = HttpAnswer::Manner;

Fault faultFrom(Endpoint endpoint, const char* text) {
    const FaultOrError read = faultFromJson(endpoint, faultJsonFromText(QLatin1String(text)));
    EXPECT_TRUE(read.fault) << read.error.toStdString();
    return read.fault.value_or(Fault());
}

QString errorOf(Endpoint endpoint, const char* text) {
    const FaultOrError read = faultFromJson(endpoint, faultJsonFromText(QLatin1String(text)));
    EXPECT_FALSE(read.fault);
    return read.error;
}

HttpAnswer trueAnswer() {
    HttpAnswer answer;
    answer.response = HttpResponse::json({{QStringLiteral("id"), 1}});
    return answer;
}

TEST(Faults, AStatusReplacesTheAnswer) {
    const HttpAnswer answer = withFault(faultFrom(Endpoint::Me, "status=503"), trueAnswer());
    EXPECT_EQ(answer.response.status, 503);
    EXPECT_FALSE(answer.response.body.contains("\"id\""));
}

TEST(Faults, ADelayLeavesTheAnswerAsItIs) {
    const HttpAnswer answer = withFault(faultFrom(Endpoint::Me, "delay_ms=250"), trueAnswer());
    EXPECT_EQ(answer.delay, milliseconds(250));
    EXPECT_EQ(answer.response.status, 200);
    EXPECT_EQ(answer.response.body, trueAnswer().response.body);
}

TEST(Faults, ABodyOrItsTypeIsReplacedAlone) {
    const HttpAnswer answer =
        withFault(faultFrom(Endpoint::Me, "body=garbage,content_type=text/html"), trueAnswer());
    EXPECT_EQ(answer.response.status, 200);
    EXPECT_EQ(answer.response.body, "garbage");
    EXPECT_EQ(answer.response.contentType, "text/html");
    EXPECT_EQ(withFault(faultFrom(Endpoint::Me, "body_base64=/w=="), trueAnswer()).response.body,
              "\xff");
    EXPECT_EQ(
        withFault(faultFrom(Endpoint::Me, "body_bytes=2000000"), trueAnswer()).response.body.size(),
        2000000);
}

TEST(Faults, HeadersAreAdded) {
    const QJsonObject json{
        {QStringLiteral("status"), 302},
        {QStringLiteral("headers"),
         QJsonObject{{QStringLiteral("Location"), QStringLiteral("http://127.0.0.1:9/")}}}};
    const FaultOrError read = faultFromJson(Endpoint::Pending, json);
    ASSERT_TRUE(read.fault);
    const QByteArray bytes = withFault(*read.fault, trueAnswer()).response.toBytes(true);
    EXPECT_TRUE(bytes.contains("\r\nLocation: http://127.0.0.1:9/\r\n"));
}

TEST(Faults, SilenceAndResetComeInsteadOfAnAnswer) {
    EXPECT_EQ(withFault(faultFrom(Endpoint::Login, "answer=silence"), trueAnswer()).manner,
              Manner::Silence);
    EXPECT_EQ(withFault(faultFrom(Endpoint::Login, "answer=reset"), trueAnswer()).manner,
              Manner::Reset);
}

TEST(Faults, OnlyAStatusStandsInTheWayOfAnUpgrade) {
    HttpAnswer upgrade;
    upgrade.manner = Manner::Upgrade;
    EXPECT_EQ(withFault(faultFrom(Endpoint::Stream, "status=503"), upgrade).manner,
              Manner::Respond);
    EXPECT_EQ(withFault(faultFrom(Endpoint::Stream, "delay_ms=5"), upgrade).manner,
              Manner::Upgrade);
    EXPECT_EQ(withFault(faultFrom(Endpoint::Stream, "then=close"), upgrade).manner,
              Manner::Upgrade);
}

TEST(Faults, AStreamHasFaultsOfItsOwn) {
    const Fault fault =
        faultFrom(Endpoint::Stream, "then=close,code=4003,after_messages=100,after_ms=50");
    EXPECT_EQ(fault.stream.action, StreamFault::Action::Close);
    EXPECT_EQ(fault.stream.closeCode, 4003);
    EXPECT_EQ(fault.stream.afterMessages, 100U);
    EXPECT_EQ(fault.stream.afterTime, milliseconds(50));
    EXPECT_EQ(faultFrom(Endpoint::Stream, "then=reset").stream.action, StreamFault::Action::Reset);
    EXPECT_EQ(faultFrom(Endpoint::Stream, "then=pause").stream.action, StreamFault::Action::Pause);
    EXPECT_EQ(errorOf(Endpoint::Login, "then=close"), QStringLiteral("unknown key: then"));
}

TEST(Faults, RefusesWhatItDoesNotUnderstand) {
    EXPECT_EQ(errorOf(Endpoint::Me, "stats=503"), QStringLiteral("unknown key: stats"));
    EXPECT_EQ(errorOf(Endpoint::Me, "status=99"), QStringLiteral("unusable value of status"));
    EXPECT_EQ(errorOf(Endpoint::Me, "status=x"), QStringLiteral("unusable value of status"));
    EXPECT_EQ(errorOf(Endpoint::Me, "status"), QStringLiteral("unusable value of status"));
    EXPECT_EQ(errorOf(Endpoint::Me, "answer=loud"), QStringLiteral("unusable value of answer"));
    EXPECT_EQ(errorOf(Endpoint::Stream, "code=999"), QStringLiteral("unusable value of code"));
    EXPECT_EQ(errorOf(Endpoint::Me, "times=0"), QStringLiteral("unusable value of times"));
}

TEST(FaultBoard, KeepsEachEndpointsFaultUntilItIsCleared) {
    FaultBoard board;
    board.set(Endpoint::Me, faultFrom(Endpoint::Me, "status=500"));
    EXPECT_FALSE(board.take(Endpoint::Login));
    EXPECT_TRUE(board.take(Endpoint::Me));
    EXPECT_TRUE(board.take(Endpoint::Me));
    board.clear(Endpoint::Me);
    EXPECT_FALSE(board.take(Endpoint::Me));
}

TEST(FaultBoard, AFaultWithACountWearsOff) {
    FaultBoard board;
    board.set(Endpoint::Me, faultFrom(Endpoint::Me, "status=500,times=2"));
    EXPECT_TRUE(board.take(Endpoint::Me));
    EXPECT_TRUE(board.isSet(Endpoint::Me));
    EXPECT_TRUE(board.take(Endpoint::Me));
    EXPECT_FALSE(board.isSet(Endpoint::Me));
    EXPECT_FALSE(board.take(Endpoint::Me));
}

} // namespace
} // namespace devbackend
