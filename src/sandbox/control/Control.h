#pragma once

#include "sandbox/control/Faults.h"
#include "sandbox/control/Recorder.h"
#include "sandbox/service/Access.h"
#include "sandbox/service/Endpoints.h"

#include <string>

namespace sandbox {

/// The paths below /control/, with which tests inspect and control the sandbox. Any thread.
///
///   GET    requests[?all=1]  what was received, oldest first
///   GET    reports           the streaming reports among them
///   DELETE requests          forgets both
///   GET    faults            what is switched on
///   POST   faults            switches one on, see Faults
///   DELETE faults            switches all off
///   POST   token-expiry      {"seconds": N}: tokens issued so far end in N seconds; at once without it
///   GET    tracks[?kind=K]   some tracks of a kind: a quality ("mp3", "cd", "24-44.1" …), "normal",
///   "restricted-sample" or
///                            "restricted-no-stream"; without a kind, of each
///   GET    catalogue         how much of everything there is
class Control
{
public:
    Control(const Catalogue& catalogue, Access& access, Recorder& recorder, Faults& faults);

    /// `path` is what follows /control/; `body` is the request's.
    Answer answer(const std::string& method, const std::string& path, const QueryItems& query,
                  const std::string& body);

private:
    Json tracks(const std::string& kind) const;
    Answer allTracks(const QueryItems& query) const;
    Json catalogue() const;

    const Catalogue& m_catalogue;
    Access& m_access;
    Recorder& m_recorder;
    Faults& m_faults;
};

} // namespace sandbox
