/* Calls two products through the library's exports, with zwrt.so as host. */
#include <stdio.h>
#include <string.h>

#include "tarnx_linalg.h"
#include "zwrt.h"

static ZwArrayHandle new_matrix(int32_t r, int32_t c, const double *values) {
  ZwArrayHandle h = (ZwArrayHandle)AZNewHandle(8 + sizeof(double) * (size_t)(r * c));
  int32_t *sizes = (int32_t *)*h;
  sizes[0] = r;
  sizes[1] = c;
  if (values != NULL) memcpy((char *)*h + 8, values, sizeof(double) * (size_t)(r * c));
  return h;
}

static void print_matrix(const char *name, ZwArrayHandle h) {
  const int32_t *sizes = (const int32_t *)*h;
  const double *v = (const double *)((const char *)*h + 8);
  printf("%s (%d x %d):\n", name, sizes[0], sizes[1]);
  for (int32_t i = 0; i < sizes[0]; ++i) {
    for (int32_t j = 0; j < sizes[1]; ++j) printf(" %8.3f", v[i * sizes[1] + j]);
    printf("\n");
  }
}

int main(void) {
  const double a[] = {1, 2, 3, 4, 5, 6};
  const double b[] = {1, 0, 0, 1, 1, 1};
  ZwArrayHandle A = new_matrix(2, 3, a), B = new_matrix(3, 2, b), C = new_matrix(0, 0, NULL);
  int32_t status = dMtrxMulH(A, B, C);
  print_matrix("A", A);
  print_matrix("B", B);
  printf("dMtrxMulH status %d\n", status);
  print_matrix("C = A B", C);
  ZwArrayHandle K = new_matrix(0, 0, NULL);
  status = dKronProdH(A, B, K);
  printf("dKronProdH status %d\n", status);
  print_matrix("kron(A, B)", K);
  status = dMtrxMulH(A, A, C);
  printf("dMtrxMulH(A, A) status %d (inner dimensions disagree), C now %d x %d\n", status,
         ((int32_t *)*C)[0], ((int32_t *)*C)[1]);
  AZDisposeHandle((void **)A);
  AZDisposeHandle((void **)B);
  AZDisposeHandle((void **)C);
  AZDisposeHandle((void **)K);
  return 0;
}
