#pragma once
#include <cstdint>

namespace tarnx {

// One vocabulary shared with the host's analysis functions: the host shows
// its own text for each code, so the values never change.
enum Status : int32_t {
  Ok = 0,
  WarnRankDeficient = 20001,
  WarnSingularFactor = 20003,
  WarnNearlySingularRoot = 20006,
  OutOfMemory = -20001,
  SizeMismatch = -20002,
  EmptyInput = -20003,
  NegativeSize = -20004,
  TooFewPoints = -20006,
  OffsetOutOfRange = -20017,
  InnerDimensionMismatch = -20039,
  NotSquare = -20040,
  Singular = -20041,
  FitNotFormed = -20055,
  LeadingDimensionTooSmall = -20058,
  NegativeMN = -20059,
  SelectorOutOfRange = -20061,
  NoConvergence = -20062,
  NotFinite = -20068,
  GeneralizedSizeMismatch = -20070,
  NotPositiveDefinite = -20071,
  ReorderFailed = -20073,
  ReorderFailedAfterSort = -20074,
  NormOrderNaN = -20104,
  ZeroIncrement = -20141,
  InternalError = -20999,
};

inline bool failed(int32_t status) { return status < 0; }

}  // namespace tarnx
