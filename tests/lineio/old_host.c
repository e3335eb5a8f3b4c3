/* A host in C that knows the calls by their old declarations, getline among
   them, and one that includes the header; both in one program. */

#include <configapi/lineio.h>

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

int getline(int handle, char** line);

int main(int argc, char** argv) {
  char* line = NULL;
  int handle;
  (void)argc;
  if (InitLineIO() != 0) {
    return 1;
  }
  handle = fileopen(argv[0], 0, 0);
  if (handle == -1 || getline(handle, &line) != 1 ||
      strncmp(line + 1, "ELF", 3) != 0 || getfpos(handle) < 4) {
    return 2;
  }
  if (setfpos(handle, 1) != 1 || configapi_getline(handle, &line) != 1 ||
      strncmp(line, "ELF", 3) != 0) {
    return 3;
  }
  if (fileclose(handle) != 1) {
    return 4;
  }
  TerminateLineIO();
  return 0;
}
