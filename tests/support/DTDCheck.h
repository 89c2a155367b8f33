#pragma once

#include <string>

namespace velm::test {

/// What keeps `document` from being valid by the DTD of DSP0203; the empty string when it is valid, and, with
/// a line on standard error, where there is no DTD. Any thread may call it.
std::string dtdProblem(const std::string& document);

/// Fails the test when a message that the daemon sent, a response or an indication, is not valid. Any thread
/// may call it.
///
/// One message cannot be valid: in the answer to RegisterNotificationChannel, the return value stands in a
/// RETURNVALUE with a TYPE, which clients of channels read, where the DTD has IRETURNVALUE. It is checked
/// with that.
void expectValidMessage(const std::string& message);

}  // namespace velm::test
