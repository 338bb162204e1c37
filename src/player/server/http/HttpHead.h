#pragma once

#include <microhttpd.h>

/// Whether a head is written as HTTP/1.1 demands: lines end in CRLF, none is continued on the next one, no
/// name has a space before its colon, no length is given twice, and the target is a path. The library is more
/// lenient, and a proxy in front of it may read such a request in another way.
bool isStrictHead(MHD_Connection* connection, const char* url, const char* method, const char* version);
