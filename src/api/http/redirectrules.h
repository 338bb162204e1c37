#pragma once

#include "api/http/pelkurl.h"

#include <QString>

/** Where a request may be sent on to. Internal to the HTTP client; every function may be called on any
 * thread. */
namespace RedirectRules {

/** True for an absolute URL of the schemes http and https. */
bool isHttp(const PelkUrl& url);

/** True when scheme, host (in any letter case) and port are the same: only then may headers go along. */
bool isSameOrigin(const PelkUrl& a, const PelkUrl& b);

/**
 * Why a redirect is not followed, as a sentence; empty when it is. `followed` counts those followed before,
 * `repeatsPost` says that the redirect asks for the body to be sent again.
 */
QString refusal(const PelkUrl& from, const PelkUrl& to, int followed, bool repeatsPost);

} // namespace RedirectRules
