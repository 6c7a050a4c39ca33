/* Loads the library at run time, leaves blocks in its table and unloads it: load_unload LIBRARY
 * Unloading has to free what is left. Under the address sanitizer a block that outlives the library
 * is reported as a leak when this program ends. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <vomo.h>

typedef VomoHandle (*Allocate)(int32_t, void **);

/* Loads, allocates three blocks, unloads. Returns 0, or 1 with a word on stderr. */
static int LoadAllocateUnload(const char *path) {
  void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  void *symbol;
  Allocate allocate;
  VomoHandle expected;
  if (library == NULL || (symbol = dlsym(library, "Vomo_Handle_and_Memory_Allocate")) == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  memcpy(&allocate, &symbol, sizeof allocate);
  /* The table is set up by loading alone, hence handles from 1. */
  for (expected = 1; expected <= 3; ++expected) {
    void *memory = NULL;
    if (allocate(1 << 20, &memory) != expected || memory == NULL) {
      fprintf(stderr, "the allocation for handle %u failed\n", (unsigned)expected);
      return 1;
    }
    memset(memory, 1, 1 << 20);
  }
  dlclose(library);
  if (dlopen(path, RTLD_NOW | RTLD_NOLOAD) != NULL) {
    fprintf(stderr, "the library stays loaded\n");
    return 1;
  }
  return 0;
}

int main(int argc, char **argv) {
  if (argc != 2) return 1;
  /* The second round starts from a fresh table again. */
  return LoadAllocateUnload(argv[1]) || LoadAllocateUnload(argv[1]);
}
