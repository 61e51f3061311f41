/* Inverts a 2 x 2 matrix in place and checks A * inverse against the identity,
 * with the library and zwrt.so taken from an installed prefix. */
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <tarnx_linalg.h>
#include <zwrt.h>

static ZwArrayHandle matrix(int32_t rows, int32_t cols, const double *values) {
  ZwArrayHandle h = (ZwArrayHandle)AZNewHandle(8 + sizeof(double) * (size_t)(rows * cols));
  ((int32_t *)*h)[0] = rows;
  ((int32_t *)*h)[1] = cols;
  if (rows * cols > 0) memcpy((char *)*h + 8, values, sizeof(double) * (size_t)(rows * cols));
  return h;
}

int main(void) {
  /* The header, the package's version file and the build all say one version. */
  if (strcmp(TARNX_LINALG_VERSION_STRING, EXPECTED_VERSION) != 0 ||
      strcmp(PACKAGE_VERSION, EXPECTED_VERSION) != 0) {
    fprintf(stderr, "version: header %s, package %s, expected %s\n", TARNX_LINALG_VERSION_STRING,
            PACKAGE_VERSION, EXPECTED_VERSION);
    return 1;
  }
  const double a[] = {4, 7, 2, 6};
  ZwArrayHandle A = matrix(2, 2, a), inverse = matrix(2, 2, a), product = matrix(0, 0, NULL);
  ZwArrayHandle work = matrix(0, 0, NULL), pivots = matrix(0, 0, NULL);
  const int32_t inverted = dInvMtrxH(inverse, 0, work, pivots);
  const int32_t multiplied = dMtrxMulH(A, inverse, product);
  double worst = INFINITY;
  if (inverted == 0 && multiplied == 0) {
    const double *p = (const double *)((const char *)*product + 8);
    worst = 0;
    for (int i = 0; i < 2; ++i)
      for (int j = 0; j < 2; ++j) worst = fmax(worst, fabs(p[i * 2 + j] - (i == j)));
  }
  printf("dInvMtrxH %d, dMtrxMulH %d, largest |A inv(A) - I| %g\n", inverted, multiplied, worst);
  AZDisposeHandle((void **)A);
  AZDisposeHandle((void **)inverse);
  AZDisposeHandle((void **)product);
  AZDisposeHandle((void **)work);
  AZDisposeHandle((void **)pivots);
  return worst <= 1e-15 ? 0 : 1;
}
