/*
 * Helpers a host or a handler calls on its own: the service entry of a URL
 * it is about to call, a service token for that call from the security
 * service, and the virtual IP address of this process's node from the
 * deployment's manifest and application-version files.
 */
#ifndef RESTSERVER_HELPERS_H
#define RESTSERVER_HELPERS_H

#include "restserver_export.h"

RS_BEGIN_DECLS

#define RS_URL_TYPE_SIZE 16u
#define RS_URL_DOMAIN_SIZE 64u

/*
 * One entry of ../conf/vog_auth/service_url_config.json: a URL pattern (a
 * whole URL, or text ending in "*" that matches wherever it occurs inside a
 * URL) and the service that serves it. A "type" or "domain" too long for its
 * field leaves the field empty. Entries live as long as the process.
 */
typedef struct RsUrlConfigInfo {
    char *url;
    char type[RS_URL_TYPE_SIZE];
    char domain[RS_URL_DOMAIN_SIZE];
    struct RsUrlConfigInfo *next;
} RsUrlConfigInfo;

/*
 * The entry of a URL, the file's later members tried first; null when none
 * matches. The entry belongs to the library. Safe from any thread.
 */
RS_API RsUrlConfigInfo *RsUrlConfigInfoGet(const char *pcUrl);

/*
 * Asks the security service (port 8073) for a token to call pcUrl with,
 * exchanging the deployment's JWT and the URL's service. The answer's body
 * on the heap, NUL-terminated (release it with free); null when the URL has
 * no entry, the service is not reached or answers other than 200, or the
 * answer is empty. Safe from any thread; it waits for the network.
 */
RS_API char *RsVogTokenGet(const char *pcUrl);

/* Longest IPv6 address text and its NUL: the buffer GetVipFromAppVerJson writes into. */
#define RS_VIP_ADDR_SIZE 46u
#define RS_APP_VER_PATH_SIZE 100u
#define RS_LVS_LABEL_SIZE 20u

/* Manifest path, "../../../../etc/sysconf/manifest.json" relative to the working directory. */
RS_API extern const char *g_pcManifestPath;
/* "../../../../etc/sysconf/<packageId>.json", empty until a manifest named a package. */
RS_API extern char g_acAppVerJsonPath[RS_APP_VER_PATH_SIZE];
/* Load-balancer label chosen from the service name, empty until one matched. */
RS_API extern char g_acLvsSBILabel[RS_LVS_LABEL_SIZE];

/*
 * Reads the manifest's "packageId" into g_acAppVerJsonPath: 0 once the
 * manifest was parsed (the path stays as it was without a package id),
 * 0xFFFFFFFF when it cannot be found, read or parsed.
 */
RS_API uint32_t GetManifestFile(void);
/* Reads the manifest while g_acAppVerJsonPath is empty and sets the label; always 0. */
RS_API uint32_t GetAppVerFileName(void);

/*
 * The "vip" of the first of this process's "vips" whose "usage" contains
 * "BGPSouthBound". The caller sets *puiFound before the call and tells the
 * outcomes apart:
 *   0, address in pcVipAddr          found
 *   0, pcVipAddr untouched           the label's section has no such usage
 *   0xFFFFFFFF, *puiFound 1          the label's section has no "vips"
 *   0xFFFFFFFF, *puiFound 0          no section for this process or label
 *   0xFFFFFFFF, *puiFound unwritten  the file cannot be found, read or parsed
 * An address that does not fit uiVipAddrSize bytes leaves pcVipAddr empty
 * (and is logged); a null argument fails at once. Calls are expected from
 * one thread at a time.
 */
RS_API uint32_t GetVipFromAppVerJsonEx(uint32_t *puiFound, char *pcVipAddr, uint32_t uiVipAddrSize);
/* The same into a buffer of RS_VIP_ADDR_SIZE bytes. */
RS_API uint32_t GetVipFromAppVerJson(uint32_t *puiFound, char *pcVipAddr);

RS_END_DECLS

#endif
