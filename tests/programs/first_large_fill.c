/* The first large quasi-random fill of a process, on a thread with a stack of 48 KiB.
 *
 * usage: first_large_fill [serial]    serial: and no OpenMP runtime was loaded for it */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <korvan/random.h>
#include <pthread.h>
#include <stdio.h>

static uint32_t words[3 << 20];
static int32_t status = 1;

static void* fill(void* nothing) {
    const uint32_t dimension = 3;
    StreamHandle stream;
    if (vslNewStreamEx(&stream, GEN_SOBOL, 1, &dimension) != RNG_OK) return NULL;
    status = viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, 3 << 20, words);
    vslDeleteStream(&stream);
    return nothing;
}

int main(int argc, char** argv) {
    pthread_attr_t attributes;
    pthread_t thread;
    (void)argv;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 48 * 1024);
    if (pthread_create(&thread, &attributes, fill, NULL) != 0) return 2;
    pthread_join(thread, NULL);
    if (argc > 1 && dlopen("libomp.so.5", RTLD_NOW | RTLD_NOLOAD)) {
        puts("a runtime was loaded for one thread");
        return 1;
    }
    return status == RNG_OK && words[0] == 0x80000000u ? 0 : 1;
}
