/* The C API of the Service Location Protocol, version 2 (RFC 2614, section 4).
 *
 * Every function may be called by every thread. Handles are independent of one another; one handle serves one call at a
 * time, and a second one answers SLP_HANDLE_IN_USE. Callbacks run on the calling thread, inside the call, with no lock
 * of the library held (but see SLPSetLog); what they are given belongs to the library and lives until they return. A
 * null, closed or foreign handle answers SLP_PARAMETER_BAD. Strings are UTF-8, end with a zero byte, and have at most
 * 65,535 bytes (longer ones: SLP_PARAMETER_BAD). Once the library has gone, by exit or unloading, every function that
 * needs it answers SLP_NETWORK_INIT_FAILED. A process that forks must not use the library in the child. */
#ifndef SLP_H
#define SLP_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define SLP_EXPORT __attribute__((visibility("default")))
#else
#define SLP_EXPORT
#endif

/* Lifetimes of URLs in seconds (section 4.1.1). A registration with the maximum lives as long as its process. */
typedef enum { SLP_LIFETIME_DEFAULT = 10800, SLP_LIFETIME_MAXIMUM = 65535 } SLPURLLifetime;

/* Results of functions and of operations (section 4.1.2). */
typedef enum {
  SLP_LAST_CALL = 1,
  SLP_OK = 0,
  SLP_LANGUAGE_NOT_SUPPORTED = -1,
  SLP_PARSE_ERROR = -2,
  SLP_INVALID_REGISTRATION = -3,
  SLP_SCOPE_NOT_SUPPORTED = -4,
  SLP_AUTHENTICATION_ABSENT = -6,
  SLP_AUTHENTICATION_FAILED = -7,
  SLP_INVALID_UPDATE = -13,
  SLP_REFRESH_REJECTED = -15,
  SLP_NOT_IMPLEMENTED = -17,
  SLP_BUFFER_OVERFLOW = -18,
  SLP_NETWORK_TIMED_OUT = -19,
  SLP_NETWORK_INIT_FAILED = -20,
  SLP_MEMORY_ALLOC_FAILED = -21,
  SLP_PARAMETER_BAD = -22,
  SLP_NETWORK_ERROR = -23,
  SLP_INTERNAL_SYSTEM_ERROR = -24,
  SLP_HANDLE_IN_USE = -25,
  SLP_TYPE_ERROR = -26
} SLPError;

typedef enum { SLP_FALSE = 0, SLP_TRUE = 1 } SLPBoolean;

/* A parsed service URL (section 4.2.1); free it with SLPFree. */
typedef struct srvurl {
  char* s_pcSrvType;   /* "service:" and the naming authority included */
  char* s_pcHost;      /* an IPv6 address stands without brackets */
  int s_iPort;         /* 0: none */
  char* s_pcNetFamily; /* "" for IP */
  char* s_pcSrvPart;   /* what follows the host, never null */
} SLPSrvURL;

typedef void* SLPHandle;

/* Callbacks (section 4.3). The result SLP_FALSE ends the operation, with no further call. */
typedef void SLPRegReport(SLPHandle hSLP, SLPError errCode, void* pvCookie);
typedef SLPBoolean SLPSrvTypeCallback(SLPHandle hSLP, const char* pcSrvTypes, SLPError errCode, void* pvCookie);
typedef SLPBoolean SLPSrvURLCallback(SLPHandle hSLP, const char* pcSrvURL, unsigned short sLifetime, SLPError errCode,
                                     void* pvCookie);
typedef SLPBoolean SLPAttrCallback(SLPHandle hSLP, const char* pcAttrList, SLPError errCode, void* pvCookie);

/* Handles (section 4.4). Only synchronous ones exist: an asynchronous one answers SLP_NOT_IMPLEMENTED. A null or empty
 * language tag stands for net.slp.locale. */
SLP_EXPORT SLPError SLPOpen(const char* pcLang, SLPBoolean isAsync, SLPHandle* phSLP);
/* Cancels the call under way on the handle, whoever made it: that call answers SLP_PARAMETER_BAD within 50 ms, with no
 * further callback. A callback that another thread is running is waited for, but for 50 ms at most. A callback may
 * close its own handle. */
SLP_EXPORT void SLPClose(SLPHandle hSLP);

/* Registration (section 4.5.1 to 4.5.3). SLPReg answers SLP_OK once the registration is in the table of this process;
 * directory agents and the agent's port are served in the background. The callback gets what the call returns, but for
 * a call that could not begin (SLP_PARAMETER_BAD, SLP_HANDLE_IN_USE, SLP_NOT_IMPLEMENTED), which is only returned.
 * `fresh` false and SLPDelAttrs answer SLP_NOT_IMPLEMENTED. The service type is that of the URL, but for a URL without
 * "service:" when another type is given. The attribute list, which may be null, is kept and handed out byte for byte.
 */
SLP_EXPORT SLPError SLPReg(SLPHandle hSLP, const char* pcSrvURL, const unsigned short usLifetime, const char* pcSrvType,
                           const char* pcAttrs, SLPBoolean fresh, SLPRegReport callback, void* pvCookie);
SLP_EXPORT SLPError SLPDereg(SLPHandle hSLP, const char* pcSrvURL, SLPRegReport callback, void* pvCookie);
SLP_EXPORT SLPError SLPDelAttrs(SLPHandle hSLP, const char* pcURL, const char* pcAttrs, SLPRegReport callback,
                                void* pvCookie);

/* Searching (section 4.5.4 to 4.5.6). The results come one by one, the service types in one list; then, with a null
 * text and SLP_LAST_CALL, the end of a search that is complete, also of one that found nothing. A search that failed
 * and has nothing to show makes no call, and returns why; one that a callback ended returns SLP_OK. A filter that
 * cannot be read answers SLP_PARSE_ERROR. A null or empty scope list stands for the configured scopes; a null or empty
 * filter or attribute list for none; a null naming authority for IANA, "*" for all. An attribute list that came cut,
 * and whose whole could not be fetched, is not handed out: SLP_NETWORK_ERROR when there is nothing else. */
SLP_EXPORT SLPError SLPFindSrvTypes(SLPHandle hSLP, const char* pcNamingAuthority, const char* pcScopeList,
                                    SLPSrvTypeCallback callback, void* pvCookie);
SLP_EXPORT SLPError SLPFindSrvs(SLPHandle hSLP, const char* pcServiceType, const char* pcScopeList,
                                const char* pcSearchFilter, SLPSrvURLCallback callback, void* pvCookie);
SLP_EXPORT SLPError SLPFindAttrs(SLPHandle hSLP, const char* pcURLOrServiceType, const char* pcScopeList,
                                 const char* pcAttrIds, SLPAttrCallback callback, void* pvCookie);

/* Miscellaneous (section 4.6). */
SLP_EXPORT unsigned short SLPGetRefreshInterval(void);
SLP_EXPORT SLPError SLPFindScopes(SLPHandle hSLP, char** ppcScopeList);
SLP_EXPORT SLPError SLPParseSrvURL(const char* pcSrvURL, SLPSrvURL** ppSrvURL);
SLP_EXPORT SLPError SLPEscape(const char* pcInbuf, char** ppcOutBuf, SLPBoolean isTag);
SLP_EXPORT SLPError SLPUnescape(const char* pcInbuf, char** ppcOutBuf, SLPBoolean isTag);
/* Frees what SLPParseSrvURL, SLPFindScopes, SLPEscape and SLPUnescape made; null is passed over. */
SLP_EXPORT void SLPFree(void* pvMem);
/* Null for a property that nobody knows. The value lives until 256 others have been asked for, or the library goes. */
SLP_EXPORT const char* SLPGetProperty(const char* pcName);
/* A value that the property does not take changes nothing, and is logged. */
SLP_EXPORT void SLPSetProperty(const char* pcName, const char* pcValue);

/* Widely used additions: searches on the handle go to one host by unicast (an address or a name, looked up here), or to
 * the networks of these interfaces only (addresses or names, comma-separated). A host or name that is not found answers
 * SLP_PARAMETER_BAD. Null or empty takes the association back. */
SLP_EXPORT SLPError SLPAssociateIP(SLPHandle hSLP, const char* pcUnicastIP);
SLP_EXPORT SLPError SLPAssociateIFList(SLPHandle hSLP, const char* pcMulticastIFList);

/* Our own addition: where the library's few messages go instead of syslog. The levels are those of syslog (LOG_WARNING
 * 4, LOG_INFO 6, LOG_DEBUG 7). The callback may run on any thread, one message at a time: for that a lock is held, the
 * only one that a callback ever meets. So it must not wait for a thread that may be inside the library, and should not
 * call the library; messages of calls that it makes nevertheless are dropped. Null brings syslog back. Once SLPSetLog
 * has returned, the callback before is called no more, but for one that replaces itself. */
typedef void SLPLogCallback(int nLevel, const char* pcText, void* pvCookie);
SLP_EXPORT void SLPSetLog(SLPLogCallback callback, void* pvCookie);

/* And who is told of each message that the process has sent or received, or dropped because it is none, or too much of
 * them came: for counting. A message that was received and then dropped is told of twice. The kind is the short name
 * of RFC 2608, section 4.3 ("SrvRqst"), or "unknown", and lives for ever. The callback may run on any thread, on
 * several at once; it must not wait for a thread that may be inside the library, and should not call the library. Null:
 * nobody, as at first. Once SLPSetCounter has returned, the callback before is called no more, but for one that
 * replaces itself. */
typedef enum { SLP_MESSAGE_SENT = 0, SLP_MESSAGE_RECEIVED = 1, SLP_MESSAGE_DROPPED = 2 } SLPMessageFate;
typedef void SLPCounterCallback(SLPMessageFate fate, const char* pcKind, void* pvCookie);
SLP_EXPORT void SLPSetCounter(SLPCounterCallback callback, void* pvCookie);

#ifdef __cplusplus
}
#endif

#endif
