/*
 * Helpers a host or a handler calls on its own: the virtual IP address of
 * this process's node from the deployment's manifest and application-version
 * files.
 */
#ifndef RESTSERVER_HELPERS_H
#define RESTSERVER_HELPERS_H

#include "restserver_export.h"

RS_BEGIN_DECLS

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
