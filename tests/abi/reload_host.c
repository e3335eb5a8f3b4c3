/* Loads the library, uses it and lets it go, a thousand times; a thread that
   has used it ends after that. */

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>

typedef char* CreateDNFromMail(void* client, char* address);

/* It leaves a buffer with the thread. */
static int uses(void* library) {
  char address[] = "joe@a.b";
  char client[256] = {0};
  CreateDNFromMail* make = NULL;
  const char* dn = NULL;
  /* POSIX has functions come as data pointers. */
  *(void**)&make = dlsym(library, "_ZN10ldapClient16CreateDNFromMailEPc");
  dn = make != NULL ? make(client, address) : NULL;
  return dn != NULL && strcmp(dn, "mail=joe@a.b,dc=a,dc=b") == 0;
}

static void* load_often(void* name) {
  int n = 0;
  for (; n < 1000; ++n) {
    void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == NULL || !uses(library) || dlclose(library) != 0) {
      fprintf(stderr, "round %d: %s\n", n, library == NULL ? dlerror() : "");
      return NULL;
    }
  }
  return name;
}

int main(int argc, char** argv) {
  pthread_t thread;
  void* done = NULL;
  return argc == 2 && pthread_create(&thread, NULL, load_often, argv[1]) == 0 &&
                 pthread_join(thread, &done) == 0 && done != NULL
             ? 0
             : 1;
}
