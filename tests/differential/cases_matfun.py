"""Matrix exponential, square root, logarithm and power, and the linear fit."""
import numpy as np
import scipy.linalg as sl
from scipy.optimize import linprog

from framework import COMPLEX, TYPES, cond2, eps, fro, per_type, wide


def _inputs(run, t):
    """Matrices for the matrix functions: a 1 x 1, a diagonal (the
    elementwise path), small and 40 x 40 random ones scaled to norms near 1
    and 3, and one whose eigenvalues lie on the positive real axis."""
    n4 = run.rand(t, 4, 4)
    out = [("1x1", run.rand(t, 1, 1)), ("3x3 diagonal", np.diag(run.rand(t, 3)).astype(TYPES[t])),
           ("4x4", n4), ("4x4 norm 3", (3 * n4 / np.linalg.norm(wide(n4), 2)).astype(TYPES[t])),
           ("40x40", (run.rand(t, 40, 40) / np.sqrt(40)).astype(TYPES[t])),
           ("5x5 positive definite", run.hpd(t, 5))]
    return out


def exponential(run):
    for t, e, label, a in per_type(run, _inputs):
        n = a.shape[0]
        aw = wide(a)
        want = sl.expm(aw)
        # the relative condition of exp at A is at most ||A|| e^(||A|| - ...);
        # ||A|| n ε covers the scaling and squaring of these inputs
        tol = 20 * n * e * max(1.0, np.linalg.norm(aw, 2))
        if t in "dz":
            # the double-precision Padé degree is chosen for a relative
            # 1e-8, the accuracy the exponential promises (1.3e-9 seen)
            tol = max(tol, 1e-8)
        with run.case(f"{t}MtrxExpH", label) as c:
            r = run.call(f"{t}MtrxExpH", A=a)
            c.status(r)
            c.close("exp(A)", r["A"], want, tol)
    # A rotation by an angle far past 1 / ε: no digit of cos θ survives the
    # rounding of A, but the result stays as bounded as the true one
    for t in "sdcz":
        theta = 2e19 if t in "sc" else 1e300
        i = 1j if t in "cz" else 1
        a = np.array([[0, i * theta], [(i if t in "cz" else -1) * theta, 0]]).astype(TYPES[t])
        with run.case(f"{t}MtrxExpH", "rotation by 1/ε and more") as c:
            r = run.call(f"{t}MtrxExpH", A=a)
            c.status(r)
            got = wide(r["A"])
            c.true("finite and bounded like the unitary e^A", np.all(np.isfinite(got)) and np.abs(got).max() <= 2,
                   f"largest modulus {np.abs(got).max():.3g}")


def square_root(run):
    for t, e, label, a in per_type(run, _inputs):
        n = a.shape[0]
        aw = wide(a)
        if "diagonal" in label:
            aw = aw + 0j
        want = sl.sqrtm(aw.astype(np.complex128))
        with run.case(f"{t}MtrxSqrtH", label) as c:
            r = run.call(f"{t}MtrxSqrtH", A=a)
            c.status(r)
            x = wide(r["X"])
            c.true("complex of the precision", r["X"].dtype == COMPLEX[t])
            # the residual is convention-free; the comparison with the
            # principal root scales with how far X's norm squared exceeds A's
            alpha = fro(want) ** 2 / max(fro(aw), 1e-300)
            c.close("X^2 = A", x @ x, aw, 20 * n * e * alpha)
            c.close("principal root", x, want, 20 * n * e * alpha * max(1.0, cond2(want)))


def logarithm(run):
    for t in "sdcz":
        e = eps(t)
        n4 = run.rand(t, 4, 4)
        cases = [("1x1", run.rand(t, 1, 1)), ("4x4 near I", (np.eye(4) + 0.3 * n4).astype(TYPES[t])),
                 ("4x4", n4), ("40x40 near I", (np.eye(40) + 0.5 * run.rand(t, 40, 40) / np.sqrt(40)).astype(TYPES[t])),
                 ("5x5 positive definite", run.hpd(t, 5))]
        for label, a in cases:
            n = a.shape[0]
            aw = wide(a).astype(np.complex128)
            want = sl.logm(aw)
            w = np.linalg.eigvals(aw)
            on_axis = np.any((w.real < 0) & (np.abs(w.imag) <= n * e * np.abs(w).max()))
            with run.case(f"{t}MtrxLnH", label) as c:
                r = run.call(f"{t}MtrxLnH", A=a)
                c.status(r, 20006 if on_axis else 0)
                x = wide(r["X"])
                kappa = max(1.0, cond2(aw))
                c.close("exp(X) = A", sl.expm(x), aw, 20 * n * e * kappa * max(1.0, np.linalg.norm(x, 2)))
                if not on_axis:
                    c.close("principal logarithm", x, want, 20 * n * e * kappa, scale=max(fro(want), 1.0))
    # Moduli over 10^±3 and a conjugate pair 1e-6 from the cut, coupled to
    # the rest: exp(X) = A as closely as SciPy's own logarithm manages it
    # (its own generator, so that the families after it see the inputs they always had)
    rng = np.random.default_rng(18)
    for t in "dz":
        e = eps(t)
        n = 6
        values = [1e3, -1e-3 + 1e-9j, -1e-3 - 1e-9j, 2 + 1j, 0.5e-3, -40 + 3j]
        # couplings scaled by the gap they bridge keep X's elements near the
        # eigenvalues' logarithms, so that exp(X) measures the logarithm and
        # not exp's own ill-conditioning at a far from normal X
        gaps = np.abs(np.subtract.outer(values, values))
        s = np.triu(rng.standard_normal((n, n)) * gaps, 1) + np.diag(values)
        v = rng.standard_normal((n, n)) + 3 * np.eye(n)
        a = (v @ s @ np.linalg.inv(v))
        a = (a.real if t == "d" else a).astype(TYPES[t])
        aw = wide(a).astype(np.complex128)
        theirs = sl.logm(aw, disp=False)[1]
        with run.case(f"{t}MtrxLnH", "6x6 spread spectrum, pair near the cut") as c:
            r = run.call(f"{t}MtrxLnH", A=a)
            c.true("status 0 or the near-axis warning", r.status in (0, 20006), f"status {r.status}")
            c.close("exp(X) = A", sl.expm(wide(r["X"])), aw, 20 * max(n * e, theirs))


def power(run):
    for t in "sdcz":
        e = eps(t)
        cases = [("1x1", run.rand(t, 1, 1)), ("4x4", run.rand(t, 4, 4)),
                 ("40x40", (run.rand(t, 40, 40) / np.sqrt(40)).astype(TYPES[t])),
                 ("5x5 rank 3", run.with_singular_values(t, 5, 5, [2, 1, 0.5, 0, 0]).astype(TYPES[t]))]
        for label, a in cases:
            n = a.shape[0]
            aw = wide(a)
            s = np.linalg.svd(aw, compute_uv=False)
            cut = n * s[0] * e
            pinv = np.linalg.pinv(aw, rcond=cut / s[0])
            kept = s[s > cut]
            kappa = float(kept[0] / kept[-1])
            for p in (0, 1, 2, 3, 5, 8, -1, -2, -3):
                if p > 0:
                    want = np.linalg.matrix_power(aw, p)
                    growth = np.linalg.norm(aw, 2) ** p / max(np.linalg.norm(want, 2), 1e-300)
                    tol = 20 * n * e * p * growth
                elif p < 0:
                    want = np.linalg.matrix_power(pinv, -p)
                    growth = np.linalg.norm(pinv, 2) ** -p / max(np.linalg.norm(want, 2), 1e-300)
                    tol = 20 * n * e * (-p) * growth * kappa ** 2
                else:
                    want, tol = np.eye(n), 0.0
                with run.case(f"{t}MtrxPowH", f"{label} p={p}") as c:
                    r = run.call(f"{t}MtrxPowH", A=a, p=p)
                    c.status(r)
                    got = wide(r["A"])
                    if p == 1:
                        c.exact("A^1 is A", r["A"], a)
                    elif p == 0:
                        c.exact("A^0 is I", got, want)
                    else:
                        c.close(f"A^{p}", got, want, tol)


def _lp_l1_line(x, y, w):
    """The line minimizing Σ w |y − (slope x + intercept)|, by linear programming."""
    n = len(x)
    # variables: slope, intercept, u (n), v (n) with y - line = u - v, u, v >= 0
    cost = np.concatenate([[0, 0], w, w])
    eq = np.hstack([x[:, None], np.ones((n, 1)), np.eye(n), -np.eye(n)])
    res = linprog(cost, A_eq=eq, b_eq=y, bounds=[(None, None)] * 2 + [(0, None)] * (2 * n), method="highs")
    return res.x[0], res.x[1], res.fun / n


def linear_fit(run):
    for t in "sd":
        e = eps(t)
        n = 30
        x = np.linspace(-3, 5, n) + 0.05 * run.rng.standard_normal(n)
        clean = 1.5 * x - 2 + 0.01 * run.rng.standard_normal(n)
        outliers = clean.copy()
        outliers[[3, 11, 20]] += [25, -40, 30]
        weights = np.abs(run.rng.standard_normal(n)) + 0.1
        datasets = [("clean", clean), ("outliers", outliers)]
        for data_label, y in datasets:
            for weighted in (False, True):
                xs, ys = x.astype(TYPES[t]), y.astype(TYPES[t])
                ws = weights.astype(TYPES[t]) if weighted else np.zeros(0, TYPES[t])
                xw, yw = wide(xs), wide(ys)
                ww = wide(ws) if weighted else np.ones(n)
                for method in (0, 1, 2):
                    label = f"{data_label} {'weighted' if weighted else 'unweighted'} method={method}"
                    with run.case(f"{t}LinearFitH", label) as c:
                        r = run.call(f"{t}LinearFitH", Y=ys, X=xs, weights=ws, method=method, tolerance=0.0,
                                     residueFloor=0.0, iterations=100)
                        c.status(r)
                        slope, icpt = float(r["slope"]), float(r["intercept"])
                        fit = wide(r["Y"])
                        c.close("fitted values", fit, slope * xw + icpt, 4 * e, scale=fro(yw))
                        if method == 1:
                            resid = np.sum(ww * np.abs(slope * xw + icpt - yw)) / n
                        else:
                            resid = np.sum(ww * (slope * xw + icpt - yw) ** 2) / n
                        c.close("residue", r["residue"], resid, 100 * n * e)
                        if method == 0:
                            want = np.polyfit(xw, yw, 1, w=np.sqrt(ww))
                            c.close("line", [slope, icpt], want, 20 * n * e * cond2(np.vander(xw, 2)))
                        elif method == 1:
                            # an iterative method stops near the optimum, not on it
                            s_lp, i_lp, best = _lp_l1_line(xw, yw, ww)
                            c.true("mean absolute residual near the optimum",
                                   best * (1 - 1e-9) <= resid <= best * 1.02 + 1e-12,
                                   f"{resid:.6g} against the optimum {best:.6g}")
                        else:
                            # a robust line follows the bulk of the points
                            c.close("line near the true one", [slope, icpt], [1.5, -2.0], 0.05)
                        if method and data_label == "outliers":
                            ls = np.polyfit(xw, yw, 1, w=np.sqrt(ww))
                            c.true("closer to the true line than least squares",
                                   abs(slope - 1.5) + abs(icpt + 2) < abs(ls[0] - 1.5) + abs(ls[1] + 2))


FAMILIES = [exponential, square_root, logarithm, power, linear_fit]
