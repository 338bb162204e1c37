#pragma once

#include "sandbox/http/Connection.h"
#include "sandbox/service/Records.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sandbox {

/// Something that goes wrong with the next requests of an endpoint. See Faults::help() for the kinds.
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

/// The faults that are switched on, in the order in which they were. Safe to use from any thread.
class Faults
{
public:
    /// Switches a fault on: {"endpoint", "kind", "count", parameters of the kind}. Gives an empty text, or a
    /// sentence that says what is wrong with it; nothing is switched on then.
    std::string add(const Json& description);
    /// The first fault that hits a request of the endpoint, counted down by it.
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

/// Makes a response wrong as the fault says: the whole of it, or (kinds "header", "delay" and those on the
/// wire) by the side of the right one. Blocks for a delay. Gives whether the response is complete, so that
/// nobody else answers.
bool applyFault(const Fault& fault, const httplib::Request& request, httplib::Response& response,
                Connection& connection);

} // namespace sandbox
