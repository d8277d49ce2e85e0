// Lets the shared library run where glibc is older than the one that it is built with. The standard library asks this
// flag of glibc 2.32 whether it may count references without atomic operations; here the answer is always no.
#if defined(__GLIBC__) || defined(__linux__)
extern "C" __attribute__((visibility("hidden"))) char __libc_single_threaded;
char __libc_single_threaded = 0;
#endif
