/* Both headers found through the targets, and the header's version the one
 * the outer build was configured with. */
#include <stdio.h>
#include <string.h>

#include "tarnx_linalg.h"
#include "zwrt.h"

int main(void) {
  if (strcmp(TARNX_LINALG_VERSION_STRING, EXPECTED_VERSION) != 0) {
    fprintf(stderr, "header %s, project %s\n", TARNX_LINALG_VERSION_STRING, EXPECTED_VERSION);
    return 1;
  }
  return 0;
}
