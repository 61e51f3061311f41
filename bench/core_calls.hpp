#pragma once
// The raw side: the system OpenBLAS, the same library the core module
// forwards to, called the way a C program would call it.
#include <cblas.h>

#include <cstddef>

extern "C" {
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
void dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work,
             const int* lwork, int* info);
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b,
            const int* ldb, int* info);
void dgeev_(const char* jobvl, const char* jobvr, const int* n, double* a, const int* lda,
            double* wr, double* wi, double* vl, const int* ldvl, double* vr, const int* ldvr,
            double* work, const int* lwork, int* info, std::size_t, std::size_t);
void dsyevr_(const char* jobz, const char* range, const char* uplo, const int* n, double* a,
             const int* lda, const double* vl, const double* vu, const int* il, const int* iu,
             const double* abstol, int* m, double* w, double* z, const int* ldz, int* isuppz,
             double* work, const int* lwork, int* iwork, const int* liwork, int* info,
             std::size_t, std::size_t, std::size_t);
void dgees_(const char* jobvs, const char* sort, void* select, const int* n, double* a,
            const int* lda, int* sdim, double* wr, double* wi, double* vs, const int* ldvs,
            double* work, const int* lwork, int* bwork, int* info, std::size_t, std::size_t);
void dggev_(const char* jobvl, const char* jobvr, const int* n, double* a, const int* lda,
            double* b, const int* ldb, double* alphar, double* alphai, double* beta, double* vl,
            const int* ldvl, double* vr, const int* ldvr, double* work, const int* lwork,
            int* info, std::size_t, std::size_t);
void dgesdd_(const char* jobz, const int* m, const int* n, double* a, const int* lda, double* s,
             double* u, const int* ldu, double* vt, const int* ldvt, double* work,
             const int* lwork, int* iwork, int* info, std::size_t);
}
