/* Counts the lines of a file with the C library's getline(3). */

#include <stdio.h>
#include <stdlib.h>

int count_lines(const char* name) {
  FILE* file = fopen(name, "r");
  char* line = NULL;
  size_t size = 0;
  int lines = 0;
  if (file == NULL) {
    return -1;
  }
  while (getline(&line, &size, file) != -1) {
    ++lines;
  }
  free(line);
  fclose(file);
  return lines;
}
