/* A host written in C: every header compiles as C99, and a call of each
   family links and answers. */

#include <configapi/config.h>
#include <configapi/cs.h>
#include <configapi/host.h>
#include <configapi/internals.h>
#include <configapi/ldapclient.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

static void expect(int holds, const char* what) {
  if (!holds) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

static void settings(void) {
  char value[30] = "";
  unsigned long type = 0;
  expect(getBufferFromTable("options", "ldapserver", value, &type) == 0 &&
             strcmp(value, "bottom,top") == 0 && type == TYPE_STRING,
         "the schema table answers");
  expect(AddCache("A", "Key", "text", 7) == 0 &&
             LookupCache("a", "Key", value, sizeof value, &type) == 0 &&
             strcmp(value, "text") == 0 && type == 7,
         "the cache keeps a value");
  expect(ClearCache() == 0 &&
             LookupCache("a", "Key", value, sizeof value, &type) == 1,
         "the cache can be cleared");
}

static void names(void) {
  char dn[] = "cn=Joe,o=Acme";
  char* value = dn_check(dn);
  expect(value != NULL && strcmp(value, "Joe") == 0, "dn_check");
  free(value);
}

static void locks(void) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  EnterCriticalSection(&cs);
  LeaveCriticalSection(&cs);
  LeaveCriticalSection(&cs);
  DeleteCriticalSection(&cs);
}

int main(void) {
  settings();
  names();
  locks();
  return failures == 0 ? 0 : 1;
}
