#pragma once

#include "velmd/http/HTTPServer.h"

namespace velm {

/// Why a request is not served: the status of the answer and a sentence for its reader. The sentence is a
/// literal and quotes nothing of the client's.
struct Refusal {
    unsigned int status = 400;
    const char* reason = "";
};

/// The answer: the sentence as text, and with 503 a time after which to try again.
HTTPResponse toResponse(const Refusal& refusal);

}  // namespace velm
