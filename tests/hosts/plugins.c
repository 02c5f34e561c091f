/* Loads plugins, uses them side by side and unloads them, several times over. A thread uses them, because a plugin
 * stays until the threads have ended that used it. */

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>

enum { MostPlugins = 8 };

static int count;
static void* plugins[MostPlugins];

static void* use(void* unused) {
    for (int i = 0; i < count; ++i) {
        double (*evaluate)(const char* definition, const char* expression);
        *(void**)&evaluate = dlsym(plugins[i], "evaluate");
        printf("%g ", evaluate("v = <1, 2, 3>; r &= v[2]*5", "r"));
        if (dlsym(plugins[i], "quarn_new")) puts("the library is exported");
    }
    return unused;
}

int main(int argumentCount, char** arguments) {
    count = argumentCount - 1;
    for (int round = 1; round <= 3; ++round) {
        pthread_t thread;
        for (int i = 0; i < count; ++i) plugins[i] = dlopen(arguments[i + 1], RTLD_NOW);
        if (pthread_create(&thread, NULL, use, NULL) != 0) return 1;
        pthread_join(thread, NULL);
        for (int i = 0; i < count; ++i) {
            dlclose(plugins[i]);
            if (dlopen(arguments[i + 1], RTLD_NOW | RTLD_NOLOAD)) puts("still loaded");
        }
    }
    puts("");
    return 0;
}
