/* Threads that each open a handle of their own, register a service, find it and those of all others, read its
 * attributes and withdraw it: arguments are the number of threads and of rounds. Prints what went wrong; 0 when nothing
 * did. Plain C, as programs of this API are. */
#include <pthread.h>
#include <slp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMaxThreads = 256 };

static int rounds;
static pthread_barrier_t registered;
static int threads;

struct Worker {
  int number;
  int failures;
  int urls;
  char attributes[128];
  char answer[128];
};

static void check(struct Worker* worker, const char* what, int expected, int seen) {
  if (expected != seen) {
    ++worker->failures;
    printf("thread %d: %s: %d instead of %d\n", worker->number, what, seen, expected);
  }
}

static void onReport(SLPHandle handle, SLPError error, void* cookie) {
  (void)handle;
  check(cookie, "report", SLP_OK, error);
}

static SLPBoolean onUrl(SLPHandle handle, const char* url, unsigned short lifetime, SLPError error, void* cookie) {
  struct Worker* worker = cookie;
  (void)handle;
  if (error == SLP_OK && lifetime > 0 && strncmp(url, "service:threads://", 18) == 0) ++worker->urls;
  return SLP_TRUE;
}

static SLPBoolean onAttributes(SLPHandle handle, const char* attributes, SLPError error, void* cookie) {
  struct Worker* worker = cookie;
  (void)handle;
  if (error == SLP_OK) snprintf(worker->answer, sizeof worker->answer, "%s", attributes);
  return SLP_TRUE;
}

static void work(struct Worker* worker, int round) {
  char url[64];
  SLPHandle handle = NULL;
  snprintf(url, sizeof url, "service:threads://10.0.0.1:%d", 1000 + worker->number);
  snprintf(worker->attributes, sizeof worker->attributes, "(thread=%d),(round=%d)", worker->number, round);
  worker->answer[0] = '\0';
  worker->urls = 0;

  check(worker, "open", SLP_OK, SLPOpen("en", SLP_FALSE, &handle));
  check(worker, "register", SLP_OK,
        SLPReg(handle, url, SLP_LIFETIME_MAXIMUM, NULL, worker->attributes, SLP_TRUE, onReport, worker));
  pthread_barrier_wait(&registered);
  check(worker, "find", SLP_OK, SLPFindSrvs(handle, "service:threads", NULL, NULL, onUrl, worker));
  check(worker, "services", threads, worker->urls);
  check(worker, "attributes", SLP_OK, SLPFindAttrs(handle, url, NULL, NULL, onAttributes, worker));
  check(worker, "attributes as they were", 0, strcmp(worker->attributes, worker->answer));
  pthread_barrier_wait(&registered);
  check(worker, "deregister", SLP_OK, SLPDereg(handle, url, onReport, worker));
  SLPClose(handle);
}

static void* run(void* worker) {
  for (int round = 0; round < rounds; ++round)
    work(worker, round);
  return NULL;
}

int main(int count, char** arguments) {
  static struct Worker workers[kMaxThreads];
  static pthread_t ids[kMaxThreads];
  int failures = 0;
  if (count != 3) return 64;
  threads = atoi(arguments[1]);
  rounds = atoi(arguments[2]);
  if (threads < 1 || threads > kMaxThreads || rounds < 1) return 64;
  pthread_barrier_init(&registered, NULL, (unsigned)threads);
  for (int i = 0; i < threads; ++i) {
    workers[i].number = i;
    if (pthread_create(&ids[i], NULL, run, &workers[i]) != 0) return 71;
  }
  for (int i = 0; i < threads; ++i) {
    pthread_join(ids[i], NULL);
    failures += workers[i].failures;
  }
  pthread_barrier_destroy(&registered);
  return failures == 0 ? 0 : 1;
}
