#include "cli/status_text.hpp"

#include "frame/status.hpp"

namespace tarnx::cli {
namespace {

struct Meaning {
  int32_t code;
  const char* text;
};

constexpr Meaning meanings[] = {
    {Ok, "success"},
    {WarnRankDeficient, "warning: rank deficient, results kept"},
    {WarnSingularFactor, "warning: exactly singular factor, results kept"},
    {WarnNearlySingularRoot, "warning: nearly singular root, results kept"},
    {OutOfMemory, "out of memory"},
    {SizeMismatch, "sizes do not match"},
    {EmptyInput, "empty input"},
    {NegativeSize, "negative size"},
    {TooFewPoints, "too few coefficients or points"},
    {OffsetOutOfRange, "offset out of range"},
    {InnerDimensionMismatch, "inner dimensions disagree"},
    {NotSquare, "matrix not square"},
    {Singular, "matrix singular"},
    {FitNotFormed, "fit cannot be formed"},
    {LeadingDimensionTooSmall, "leading dimension too small"},
    {NegativeMN, "negative M or N"},
    {SelectorOutOfRange, "selector out of range"},
    {NoConvergence, "no convergence"},
    {NotFinite, "input not finite"},
    {GeneralizedSizeMismatch, "generalized pair sizes disagree"},
    {NotPositiveDefinite, "not positive definite"},
    {ReorderFailed, "reordering failed"},
    {ReorderFailedAfterSort, "reordering failed after sorting"},
    {NormOrderNaN, "norm order is NaN"},
    {ZeroIncrement, "zero increment or zero order"},
    {InternalError, "internal error"},
};

}  // namespace

const char* status_meaning(int32_t status) {
  for (const Meaning& m : meanings)
    if (m.code == status) return m.text;
  return status < 0 ? "unknown failure" : "unknown warning";
}

}  // namespace tarnx::cli
