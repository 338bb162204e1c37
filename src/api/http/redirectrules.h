#pragma once

#include "api/http/pelkurl.h"

#include <QString>

/// Where a request may be sent on to. Internal to the HTTP client; every function may be called on any
/// thread.
namespace RedirectRules {

/// True for an absolute URL of the schemes http and https.
bool isHttp(const PelkUrl& url);

/// True when scheme, host (in any letter case) and port are the same.
bool isSameOrigin(const PelkUrl& a, const PelkUrl& b);

/// Whether the headers of a request go along: to the same origin, and from http to https of the same host at
/// their usual ports.
bool mayCarryHeaders(const PelkUrl& from, const PelkUrl& to);

/// Why a redirect is not followed, as a sentence; empty when it is. `followed` counts those followed before,
/// `repeatsPost` says that the redirect asks for the body to be sent again.
QString refusal(const PelkUrl& from, const PelkUrl& to, int followed, bool repeatsPost);

} // namespace RedirectRules
