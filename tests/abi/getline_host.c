/* Both names getline in one process: ours here, the C library's in another
   library. */

#include <configapi/lineio.h>
#include <stdio.h>

int count_lines(const char* name);

int main(int argc, char** argv) {
  char* line = NULL;
  int lines = 0;
  int file = -1;
  (void)argc;
  InitLineIO();
  file = fileopen(argv[0], 1, 0);
  while (configapi_getline(file, &line) == 1) {
    ++lines;
  }
  fileclose(file);
  TerminateLineIO();
  /* Ours comes in pieces, so there are as many or more. */
  printf("%d, %d\n", lines, count_lines(argv[0]));
  return lines > 0 && count_lines(argv[0]) > 0 && count_lines(argv[0]) <= lines
             ? 0
             : 1;
}
