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
        # The matrix exponential joins when the library's lands.
        "dMtrxExpH": lambda: sl.expm(a),
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
