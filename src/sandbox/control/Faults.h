#pragma once

#include "sandbox/http/Connection.h"
#include "sandbox/service/Records.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sandbox {

/// A fault that affects the next requests of an endpoint. Faults::help() lists the kinds.
struct Fault
{
    std::string endpoint; ///< "album/get", "stream", "cover", or "*" for every call of the web API
    std::string kind;
    int left = 1; ///< requests that it still hits; negative: without end
    Json parameters;

    /// How the answer is damaged on the wire; Kind::None for kinds that change the answer itself.
    WireFault wire() const;
    /// A whole number among the parameters.
    int number(const char* key, int otherwise) const;
    std::string text(const char* key, const std::string& otherwise) const;
};

/// The active faults, in the order in which they were added. Any thread.
class Faults
{
public:
    /// Adds a fault: {"endpoint", "kind", "count", parameters of the kind}. Returns an empty text, or a
    /// sentence that says why the fault is invalid; then nothing is added.
    std::string add(const Json& description);
    /// The first fault for a request of the endpoint; decrements its count.
    std::optional<Fault> take(const std::string& endpoint, bool api);
    /// {"faults": [...]} with what each has left.
    Json list() const;
    void clear();

    /// The kinds and their parameters, one to a line.
    static std::string help();

private:
    mutable std::mutex m_mutex;
    std::vector<Fault> m_faults;
};

/// Applies a fault: replaces the response, or (kinds "header", "delay" and those on the wire) changes the
/// correct one. Blocks for a delay. Returns whether the response is complete, so that no handler is called.
bool applyFault(const Fault& fault, const httplib::Request& request, httplib::Response& response,
                Connection& connection);

} // namespace sandbox
