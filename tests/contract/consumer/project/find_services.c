/* A program as others write them after RFC 2614. */
#include <slp.h>
#include <stdio.h>
#include <string.h>

static SLPBoolean onUrl(SLPHandle handle, const char* url, unsigned short lifetime, SLPError error, void* cookie) {
  (void)handle;
  (void)lifetime;
  if (error == SLP_OK && strcmp(url, "service:greeting://192.0.2.1") == 0) ++*(int*)cookie;
  return SLP_TRUE;
}

static void onReport(SLPHandle handle, SLPError error, void* cookie) {
  (void)handle;
  *(SLPError*)cookie = error;
}

int main(void) {
  SLPHandle handle = NULL;
  SLPError reported = SLP_INTERNAL_SYSTEM_ERROR;
  int found = 0;
  if (SLPOpen("en", SLP_FALSE, &handle) != SLP_OK) return 2;
  if (SLPReg(handle, "service:greeting://192.0.2.1", 60, NULL, "", SLP_TRUE, onReport, &reported) != SLP_OK) return 3;
  if (reported != SLP_OK) return 4;
  if (SLPFindSrvs(handle, "service:greeting", NULL, NULL, onUrl, &found) != SLP_OK) return 5;
  SLPClose(handle);
  printf("found %d\n", found);
  return found == 1 ? 0 : 6;
}
