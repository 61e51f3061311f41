"""Instructions per call at n = 4, export against raw core, under callgrind.

Timing on a shared machine cannot resolve a difference of a few hundred
nanoseconds on a call of several microseconds; the instruction count can,
and it does not change from run to run. Usage:
  bench_instructions.py path/to/tarnx_bench out.json [family ...]
"""
import json
import os
import re
import subprocess
import sys
import tempfile

# export -> the Work class in bench/cases.cpp, spelled as the demangler spells
# it: a family template carries its element type and export.
CLASSES = {
    "dMtrxMulH": "MatrixProduct<double, &dMtrxMulH>",
    "sMtrxMulH": "MatrixProduct<float, &sMtrxMulH>",
    "zMtrxMulH": "MatrixProduct<std::complex<double>, &zMtrxMulH>",
    "dMtrxVecMulH": "MatrixVectorProduct",
    "zwblas_dgemm": "BlasGemm",
    "dMtrxNormH": "MatrixTwoNorm",
    "dDeterminantH": "Determinant",
    "dInvMtrxH": "Inverse<double, &dInvMtrxH>",
    "zInvMtrxH": "Inverse<std::complex<double>, &zInvMtrxH>",
    "dLinEqH": "LinearSystem<double, &dLinEqH>",
    "sLinEqH": "LinearSystem<float, &sLinEqH>",
    "cLinEqH": "LinearSystem<std::complex<float>, &cLinEqH>",
    "zLinEqH": "LinearSystem<std::complex<double>, &zLinEqH>",
    "dCondNumberH": "TwoNormCondition<double, &dCondNumberH>",
    "dCondNumberH_1norm": "OneNormCondition<double, &dCondNumberH>",
    "dRankH": "Rank<double, &dRankH>",
    "dPseudoInvMtrxH": "PseudoInverse<double, &dPseudoInvMtrxH>",
    "dLSEqH": "LeastSquares<double, &dLSEqH>",
    "dCholeskyH": "Cholesky<double, &dCholeskyH>",
    "zCholeskyH": "Cholesky<std::complex<double>, &zCholeskyH>",
    "dLUH": "LU<double, &dLUH>",
    "dQRH": "QR<double, &dQRH>",
    "zQRH": "QR<std::complex<double>, &zQRH>",
    "dEigenVH": "GeneralEigen<double, &dEigenVH>",
    "sEigenVH": "GeneralEigen<float, &sEigenVH>",
    "zEigenVH": "GeneralEigen<std::complex<double>, &zEigenVH>",
    "dSymEigenVH": "SymmetricEigen",
    "zHermEigenVH": "HermitianEigen<std::complex<double>, &zHermEigenVH>",
    "dSchurH": "Schur",
    "dGenEigenVH": "GeneralizedEigen",
    "dQZH": "QZ<double, &dQZH>",
    "dSVDH": "SingularValues<double, &dSVDH>",
    "zSVDH": "SingularValues<std::complex<double>, &zSVDH>",
    "dMtrxExpH": "MatrixExponential<double, &dMtrxExpH>",
    "zMtrxExpH": "MatrixExponential<std::complex<double>, &zMtrxExpH>",
    "dMtrxPowH": "MatrixPower<double, &dMtrxPowH>",
    "dMtrxSqrtH": "MatrixSquareRoot<double, &dMtrxSqrtH>",
    "dMtrxLnH": "MatrixLogarithm<double, &dMtrxLnH>",
}


def count(bench, family):
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, "cg.out")
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", bench,
             f"--benchmark_filter=^{family}/(ours|raw)/4/", "--benchmark_min_time=0.1"],
            capture_output=True, text=True, check=True,
            # As in the timed runs: one core thread, and the host stand-in
            # without the tests' poisoning of regrown bytes.
            env=dict(os.environ, OPENBLAS_NUM_THREADS="1", ZWRT_POISON="0"))
        # Every repetition makes one call before its timed loop.
        calls = {"ours": 0, "raw": 0}
        for line in run.stdout.splitlines():
            m = re.match(rf"{family}/(ours|raw)/4/\S*\s+[\d.]+ \w+\s+[\d.]+ \w+\s+(\d+)$", line)
            if m and not re.search(r"_(mean|median|stddev|cv|min)\s", line):
                calls[m.group(1)] += int(m.group(2)) + 1
        annotate = subprocess.run(["callgrind_annotate", "--inclusive=yes", "--threshold=100", out],
                                  capture_output=True, text=True, check=True).stdout
    per_call = {}
    for side in ("ours", "raw"):
        pattern = re.compile(rf"^\s*([\d,]+) .*::{re.escape(CLASSES[family])}::{side}\(\)")
        for line in annotate.splitlines():
            m = pattern.match(line)
            if m:
                per_call[side] = int(m.group(1).replace(",", "")) / max(calls[side], 1)
                break
    return per_call


def main(bench, out_path, families):
    results = {f: count(bench, f) for f in (families or CLASSES)}
    with open(out_path, "w") as f:
        json.dump(results, f, indent=1)
    for family, c in results.items():
        if "ours" in c and "raw" in c:
            print(f"{family:16s} ours {c['ours']:9.0f}  raw {c['raw']:9.0f}  "
                  f"extra {c['ours'] - c['raw']:7.0f} instructions")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], sys.argv[3:])
