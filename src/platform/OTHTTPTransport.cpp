#include "platform/OTHTTPTransport.h"

#include <exception>

namespace corvane {

void OTHTTPTransport::complete(const Completion& completion, long status, const std::string& body,
                               const std::optional<Failure>& failure) noexcept {
    if (!completion) return;
    try {
        completion(status, body, failure);
    } catch (...) {}
}

}  // namespace corvane
