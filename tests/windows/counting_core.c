/* A numerical core that only counts the per-thread releases the library asks
 * of it, for the tests of thread detach; it has no CBLAS or LAPACK routine. */
static volatile long frees;

__declspec(dllexport) void MKL_Thread_Free_Buffers(void) { __atomic_fetch_add(&frees, 1, __ATOMIC_SEQ_CST); }

__declspec(dllexport) long CountingCoreFrees(void) { return __atomic_load_n(&frees, __ATOMIC_SEQ_CST); }
