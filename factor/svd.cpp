// Singular value decomposition A = U S V^H, or the singular values alone.
// The export sizes the outputs; the work is the shared kernel's.
#include "factor/svd_kernel.hpp"
#include "frame/export.hpp"

namespace tarnx {
namespace {

// The mode selector's values, fixed by the export's contract (the reverse
// of the QR modes' numbering).
enum class SVDMode : int32_t { Economy = 0, Full = 1 };

template <class T>
int32_t SVDFront(Handle a, int32_t values_only, int32_t mode_value, Handle u, Handle s, Handle v,
                 Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  const int32_t m = rows(a), n = cols(a), k = m < n ? m : n;
  if (k < 1) return EmptyInput;
  const SVDMode mode = static_cast<SVDMode>(mode_value);
  // The mode is refused even when only the values are asked for.
  if (mode != SVDMode::Economy && mode != SVDMode::Full) return SelectorOutOfRange;

  char job = 'N';
  if (values_only == 0) {
    const bool full = mode == SVDMode::Full;
    job = full ? 'A' : 'S';
    const int32_t u_cols = full ? m : k, v_cols = full ? n : k;
    if (int32_t status = ResizeMatrix<T>(u, m, u_cols); status != Ok) return status;
    if (int32_t status = ResizeMatrix<T>(v, n, v_cols); status != Ok) return status;
  } else {
    if (rows(u) != 0 || cols(u) != 0) EmptyMatrix<T>(u);
    if (rows(v) != 0 || cols(v) != 0) EmptyMatrix<T>(v);
  }
  if (int32_t status = ResizeVector<R>(s, k); status != Ok) return status;

  // Read after every resize: the blocks may have moved.
  T* const ud = job == 'N' ? nullptr : matrix_data<T>(u);
  T* const vd = job == 'N' ? nullptr : matrix_data<T>(v);
  return SingularValueKernel<T>(matrix_data<T>(a), m, n, ud, vector_data<R>(s), vd, job, work,
                                real_work, int_work);
}

}  // namespace

#include "factor/svd.exports"

}  // namespace tarnx
