/* A host written in C: every header compiles as C99, and a call of each
   family links and answers. */

#include <configapi/config.h>
#include <configapi/cs.h>
#include <configapi/host.h>
#include <configapi/internals.h>
#include <configapi/ldapclient.h>
#include <configapi/winfile.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

static void expect(const char* text, const char* wanted) {
  if (text == NULL || strcmp(text, wanted) != 0) {
    fprintf(stderr, "FAILED: %s, not %s\n", text != NULL ? text : "null",
            wanted);
    ++failures;
  }
}

int main(void) {
  char value[30] = "";
  unsigned long type = 0;
  char dn[] = "cn=Joe,o=Acme";
  char* name = dn_check(dn);
  CRITICAL_SECTION cs;
  expect(name, "Joe");
  free(name);

  getBufferFromTable("options", "ldapserver", value, &type);
  expect(value, "bottom,top");
  expect(ul2str(type), "TYPE_STRING");
  AddCache("A", "Key", "text", 7);
  LookupCache("a", "Key", value, sizeof value, &type);
  expect(value, "text");
  ClearCache();

  if (GetLine(NULL, NULL) != -1 || GetFileSize(-1, NULL) != 0xFFFFFFFF) {
    ++failures;
  }

  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  LeaveCriticalSection(&cs);
  DeleteCriticalSection(&cs);
  return failures;
}
