/*
 * Parameter numbering and access flags an applet shares with applications and
 * tools: the identity ranges of the two debugging access paths, the
 * description query, and the access flags of a parameter record.
 *
 * Part of the binary interface: the numbers are fixed.
 */
#ifndef FG_PARAM_IDS_H
#define FG_PARAM_IDS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Access flags of a parameter record (RegisterInfo.accessFlags). */
enum FgParamAccess { FG_PARAM_ACCESS_READ_ONLY = 1, FG_PARAM_ACCESS_READ_WRITE = 7 };

/* Identity ranges of the debugging access paths: design register n is
 * FG_DRA_ID_BASE + n (1,000,001 to 2,000,000); host design parameter h is
 * FG_DQORA_ID_BASE + h (above 2,000,000). */
enum FgDebugIdBases { FG_DRA_ID_BASE = 1000000, FG_DQORA_ID_BASE = 2000000 };

/* The description query: a read of this identity with a text buffer holding an
 * SDK parameter name returns the parameter's long description in the buffer. */
enum { FG_PARAMETER_DESCRIPTION_QUERY = 24114 };

#ifdef __cplusplus
}
#endif

#endif
