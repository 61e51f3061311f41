"""NumPy and SciPy timings for the operations the library shares with them.

Run with Debian's python3 (python3-numpy, python3-scipy on the system
OpenBLAS). Each entry is keyed by the library's export name, so the report
can put both side by side. SciPy's default input check (check_finite) stays
on: it is its counterpart of the library's screen.
"""
import json
import sys
import time
import timeit

import numpy as np
import scipy
import scipy.linalg as sl

SIZES = (4, 100, 500)


def operations(n, rng):
    a = rng.uniform(-1, 1, (n, n))
    b = rng.uniform(-1, 1, (n, n))
    d = a + n * np.eye(n)
    s = (a + a.T) / 2
    x = rng.uniform(-1, 1, n)
    y = rng.uniform(-1, 1, n)
    # Positive definite, as the Cholesky entries' inputs are.
    p = s + 2 * n * np.eye(n)
    # The complex and float32 counterparts of the same kinds of matrix.
    za = a + 1j * rng.uniform(-1, 1, (n, n))
    zb = b + 1j * rng.uniform(-1, 1, (n, n))
    zd = za + 2 * n * np.eye(n)
    zh = (za + za.conj().T) / 2
    zp = zh + 2 * n * np.eye(n)
    zx = x + 1j * y
    a32, b32, d32, x32 = (m.astype(np.float32) for m in (a, b, d, x))
    cd32, cx32 = zd.astype(np.complex64), zx.astype(np.complex64)
    return {
        "dMtrxMulH": lambda: a @ b,
        "dMtrxVecMulH": lambda: a @ x,
        "dDotProdH": lambda: np.dot(x, y),
        "dOuterProdH": lambda: np.outer(x, y),
        "dTransposeH": lambda: np.ascontiguousarray(a.T),
        "dMtrxNormH": lambda: sl.norm(a, 2),
        "dDeterminantH": lambda: sl.det(d),
        "dInvMtrxH": lambda: sl.inv(d),
        "dLinEqH": lambda: sl.solve(d, x),
        "dEigenVH": lambda: sl.eig(a),
        "dSymEigenVH": lambda: sl.eigh(s, driver="evr"),
        "dSchurH": lambda: sl.schur(a),
        "dGenEigenVH": lambda: sl.eig(a, d, right=False),
        "dSVDH": lambda: sl.svd(a, full_matrices=False, lapack_driver="gesdd"),
        "dMtrxExpH": lambda: sl.expm(a),
        "sMtrxMulH": lambda: a32 @ b32,
        "zMtrxMulH": lambda: za @ zb,
        "zInvMtrxH": lambda: sl.inv(zd),
        "sLinEqH": lambda: sl.solve(d32, x32),
        "cLinEqH": lambda: sl.solve(cd32, cx32),
        "zLinEqH": lambda: sl.solve(zd, zx),
        "dCondNumberH": lambda: np.linalg.cond(a),
        "dCondNumberH_1norm": lambda: np.linalg.cond(d, 1),
        "dRankH": lambda: np.linalg.matrix_rank(a),
        "dPseudoInvMtrxH": lambda: sl.pinv(d),
        "dLSEqH": lambda: sl.lstsq(d, x, lapack_driver="gelsd"),
        "dCholeskyH": lambda: sl.cholesky(p, lower=True),
        "zCholeskyH": lambda: sl.cholesky(zp, lower=True),
        "dLUH": lambda: sl.lu(a),
        "dQRH": lambda: sl.qr(a),
        "zQRH": lambda: sl.qr(za),
        "sEigenVH": lambda: sl.eig(a32),
        "zEigenVH": lambda: sl.eig(za),
        "zHermEigenVH": lambda: sl.eigh(zh, driver="evr"),
        "dQZH": lambda: sl.qz(a, d),
        "zSVDH": lambda: sl.svd(za, full_matrices=False, lapack_driver="gesdd"),
        "zMtrxExpH": lambda: sl.expm(za),
        "dMtrxPowH": lambda: np.linalg.matrix_power(a / np.sqrt(n), 7),
        "dMtrxSqrtH": lambda: sl.sqrtm(d),
        "dMtrxLnH": lambda: sl.logm(d),
    }


def best_time(fn):
    # CPU time, like the C++ side: the machine is shared.
    timer = timeit.Timer(fn, timer=time.process_time)
    number, _ = timer.autorange()
    return min(timer.repeat(repeat=3, number=number)) / number


def main(out_path):
    rng = np.random.default_rng(1)
    results = []
    for n in SIZES:
        for name, fn in operations(n, rng).items():
            results.append({"name": name, "n": n, "seconds": best_time(fn)})
    meta = {"numpy": np.__version__, "scipy": scipy.__version__}
    with open(out_path, "w") as f:
        json.dump({"context": meta, "results": results}, f, indent=1)


if __name__ == "__main__":
    main(sys.argv[1])
