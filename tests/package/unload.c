/* Loads a library and closes it: nothing in it may keep it mapped. */
#include <dlfcn.h>
#include <stddef.h>

int main(int argc, char** argv)
{
    void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    return library == NULL || dlclose(library) != 0 || dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != NULL;
}
