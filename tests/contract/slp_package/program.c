/* A program as others write them after RFC 2614: plain C, nothing but slp.h, and every type and function of it. It runs
 * in a network that has no interface, where a process still finds what it has registered itself. */
#include <slp.h>
#include <stdio.h>
#include <string.h>

#define URL "service:pop3://mail.example.com:1110"
#define ATTRIBUTES "(user=zaphod,trillian),(description=Mail \\28old\\29)"

static int gFailures = 0;

#define CHECK(condition)                                          \
  do {                                                            \
    if (!(condition)) {                                           \
      printf("program.c:%d: not so: %s\n", __LINE__, #condition); \
      ++gFailures;                                                \
    }                                                             \
  } while (0)

/* What a callback was given, call by call, in one line. */
typedef struct {
  SLPHandle handle;
  char calls[1024];
} Record;

static void noteCall(Record* record, SLPHandle handle, const char* text, SLPError error) {
  const size_t length = strlen(record->calls);
  CHECK(handle == record->handle);
  snprintf(record->calls + length, sizeof(record->calls) - length, "%s %d;", text != NULL ? text : "null", (int)error);
}

static void onReport(SLPHandle hSLP, SLPError errCode, void* pvCookie) {
  noteCall((Record*)pvCookie, hSLP, "report", errCode);
}

static SLPBoolean onType(SLPHandle hSLP, const char* pcSrvTypes, SLPError errCode, void* pvCookie) {
  noteCall((Record*)pvCookie, hSLP, pcSrvTypes, errCode);
  return SLP_TRUE;
}

static SLPBoolean onUrl(SLPHandle hSLP, const char* pcSrvURL, unsigned short sLifetime, SLPError errCode,
                        void* pvCookie) {
  CHECK(errCode != SLP_OK || sLifetime > 0);
  noteCall((Record*)pvCookie, hSLP, pcSrvURL, errCode);
  return SLP_TRUE;
}

static SLPBoolean onAttributes(SLPHandle hSLP, const char* pcAttrList, SLPError errCode, void* pvCookie) {
  noteCall((Record*)pvCookie, hSLP, pcAttrList, errCode);
  return SLP_TRUE;
}

static void onLog(int nLevel, const char* pcText, void* pvCookie) {
  CHECK(pcText != NULL);
  (void)nLevel;
  (void)pvCookie;
}

/* The callbacks as a program keeps them. */
static SLPRegReport* const kReport = onReport;
static SLPSrvTypeCallback* const kType = onType;
static SLPSrvURLCallback* const kUrl = onUrl;
static SLPAttrCallback* const kAttributes = onAttributes;
static SLPLogCallback* const kLog = onLog;

static Record recordOf(SLPHandle handle) {
  Record record;
  record.handle = handle;
  record.calls[0] = '\0';
  return record;
}

static void checkNumbers(void) {
  static const int kErrors[] = {SLP_LAST_CALL,
                                SLP_OK,
                                SLP_LANGUAGE_NOT_SUPPORTED,
                                SLP_PARSE_ERROR,
                                SLP_INVALID_REGISTRATION,
                                SLP_SCOPE_NOT_SUPPORTED,
                                SLP_AUTHENTICATION_ABSENT,
                                SLP_AUTHENTICATION_FAILED,
                                SLP_INVALID_UPDATE,
                                SLP_REFRESH_REJECTED,
                                SLP_NOT_IMPLEMENTED,
                                SLP_BUFFER_OVERFLOW,
                                SLP_NETWORK_TIMED_OUT,
                                SLP_NETWORK_INIT_FAILED,
                                SLP_MEMORY_ALLOC_FAILED,
                                SLP_PARAMETER_BAD,
                                SLP_NETWORK_ERROR,
                                SLP_INTERNAL_SYSTEM_ERROR,
                                SLP_HANDLE_IN_USE,
                                SLP_TYPE_ERROR};
  static const int kExpected[] = {1,   0,   -1,  -2,  -3,  -4,  -6,  -7,  -13, -15,
                                  -17, -18, -19, -20, -21, -22, -23, -24, -25, -26};
  const SLPURLLifetime maximum = SLP_LIFETIME_MAXIMUM;
  CHECK(sizeof(kErrors) == sizeof(kExpected));
  CHECK(memcmp(kErrors, kExpected, sizeof(kErrors)) == 0);
  CHECK(maximum == 65535 && SLP_LIFETIME_DEFAULT == 10800);
  CHECK(SLP_FALSE == 0 && SLP_TRUE == 1);
}

static void checkTexts(void) {
  SLPSrvURL* url = NULL;
  char* text = NULL;
  CHECK(SLPParseSrvURL(URL, &url) == SLP_OK);
  if (url != NULL) {
    CHECK(strcmp(url->s_pcSrvType, "service:pop3") == 0);
    CHECK(strcmp(url->s_pcHost, "mail.example.com") == 0);
    CHECK(url->s_iPort == 1110);
    CHECK(strcmp(url->s_pcNetFamily, "") == 0);
    CHECK(strcmp(url->s_pcSrvPart, "") == 0);
    SLPFree(url);
  }
  CHECK(SLPParseSrvURL(NULL, &url) == SLP_PARAMETER_BAD);
  CHECK(SLPEscape("a,b", &text, SLP_FALSE) == SLP_OK);
  CHECK(text != NULL && strcmp(text, "a\\2cb") == 0);
  SLPFree(text);
  text = NULL;
  CHECK(SLPUnescape("a\\2cb", &text, SLP_TRUE) == SLP_OK);
  CHECK(text != NULL && strcmp(text, "a,b") == 0);
  SLPFree(text);
  SLPFree(NULL);
}

static void checkProperties(void) {
  char* scopes = NULL;
  SLPSetProperty("net.slp.locale", "de");
  CHECK(strcmp(SLPGetProperty("net.slp.locale"), "de") == 0);
  SLPSetProperty("net.slp.locale", "en");
  CHECK(SLPGetProperty("net.slp.unknown") == NULL);
  CHECK(SLPGetRefreshInterval() == 0);
  CHECK(SLPFindScopes(NULL, &scopes) == SLP_PARAMETER_BAD);
}

static void checkRegistration(SLPHandle handle) {
  Record record = recordOf(handle);
  CHECK(SLPReg(handle, URL, SLP_LIFETIME_DEFAULT, NULL, ATTRIBUTES, SLP_TRUE, kReport, &record) == SLP_OK);
  CHECK(strcmp(record.calls, "report 0;") == 0);
  CHECK(SLPReg(handle, URL, SLP_LIFETIME_DEFAULT, NULL, "", SLP_FALSE, kReport, &record) == SLP_NOT_IMPLEMENTED);
  CHECK(SLPDelAttrs(handle, URL, "user", kReport, &record) == SLP_NOT_IMPLEMENTED);
}

static void checkSearches(SLPHandle handle) {
  Record services = recordOf(handle);
  Record attributes = recordOf(handle);
  Record types = recordOf(handle);
  CHECK(SLPFindSrvs(handle, "service:pop3", NULL, "(user=trillian)", kUrl, &services) == SLP_OK);
  CHECK(strcmp(services.calls, URL " 0;null 1;") == 0);
  CHECK(SLPFindAttrs(handle, URL, "", "", kAttributes, &attributes) == SLP_OK);
  CHECK(strcmp(attributes.calls, ATTRIBUTES " 0;null 1;") == 0);
  CHECK(SLPFindSrvTypes(handle, "*", "DEFAULT", kType, &types) == SLP_OK);
  CHECK(strcmp(types.calls, "service:pop3 0;null 1;") == 0);
}

static void checkHandles(SLPHandle handle) {
  Record record = recordOf(handle);
  SLPHandle other = NULL;
  char* scopes = NULL;
  CHECK(SLPOpen("en", SLP_TRUE, &other) == SLP_NOT_IMPLEMENTED);
  CHECK(SLPFindScopes(handle, &scopes) == SLP_OK);
  CHECK(scopes != NULL && strcmp(scopes, "DEFAULT") == 0);
  SLPFree(scopes);
  CHECK(SLPAssociateIP(handle, "127.0.0.1") == SLP_OK);
  CHECK(SLPAssociateIP(handle, NULL) == SLP_OK);
  CHECK(SLPAssociateIFList(handle, "10.77.0.1") == SLP_OK);
  CHECK(SLPAssociateIFList(handle, NULL) == SLP_OK);
  CHECK(SLPDereg(handle, URL, kReport, &record) == SLP_OK);
  CHECK(strcmp(record.calls, "report 0;") == 0);
  SLPClose(handle);
  CHECK(SLPFindSrvs(handle, "service:pop3", NULL, NULL, kUrl, &record) == SLP_PARAMETER_BAD);
}

int main(void) {
  SLPHandle handle = NULL;
  SLPSetLog(kLog, NULL);
  checkNumbers();
  checkTexts();
  checkProperties();
  CHECK(SLPOpen("en", SLP_FALSE, &handle) == SLP_OK);
  checkRegistration(handle);
  checkSearches(handle);
  checkHandles(handle);
  SLPSetLog(NULL, NULL);
  printf("%d failures\n", gFailures);
  return gFailures == 0 ? 0 : 1;
}
