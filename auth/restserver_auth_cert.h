/*
 * The certificates a token is verified against, fetched from the security
 * service into ../data/vog_cert, and the verification of a token by the
 * openssl tool into its JSON content.
 */
#ifndef RESTSERVER_AUTH_CERT_H
#define RESTSERVER_AUTH_CERT_H

#include "plat_json.h"
#include "plat_os.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

#define RS_CERT_RELOAD_INTERVAL_MS 300000u

/* Tick count at the start of the last fetch that reached the service; 0/0 before the first. */
RS_API extern VOS_CPU_TICK_S g_AuthCertLoadTime;

/*
 * Fetches both certificates when one is missing (or always, with force
 * non-zero), at most once in five minutes. 0 also when the service did not
 * answer 200; 0xFFFFFFFF for an unusable answer or folder.
 */
RS_API u32 RsAuthCertLoad(u32 uiForce);
/* Replaces the file at pcPath with uiLen bytes of pcContent (mode 0640). */
RS_API u32 DumpCertContent(const char *pcPath, const char *pcContent, u32 uiLen);

/* The verified JSON content of a token in its header form; the caller deletes it. Null on failure. */
RS_API CFJSON *GetTokenJsonObject(const char *pcToken);
/* The PEM block of a token in its header form, on the heap (the caller frees it). */
RS_API char *FormatToken(const char *pcToken);
/* Runs a command and collects its output into pcOut: 0 when it printed something, else 1. */
RS_API u32 GetPlainToken(const char *pcCommand, char *pcOut, u32 uiOutSize);
/* Logs the PEM block of a fixed 130-character token; always 0. */
RS_API u32 RsFormatTokenTest(void);

RS_END_DECLS

#endif
