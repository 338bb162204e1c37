#pragma once

#include <gnutls/abstract.h>

/// Selects the certificate of a connection; see MHD_OPTION_HTTPS_CERT_CALLBACK.
int showCertificate(gnutls_session_t session, const gnutls_datum_t* authorities, int authorityCount,
                    const gnutls_pk_algorithm_t* algorithms, int algorithmCount, gnutls_pcert_st** chain,
                    unsigned* chainCount, gnutls_privkey_t* key);
