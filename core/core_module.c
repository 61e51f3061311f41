/*
 * The numerical core: a thin module whose CBLAS and LAPACK routines are those
 * of the system OpenBLAS it depends on. It adds the per-thread buffer release
 * that the library calls when a thread ends; OpenBLAS keeps no per-thread
 * buffers that a caller must free, so there is nothing to do.
 */
__attribute__((visibility("default"))) void MKL_Thread_Free_Buffers(void) {}
