"""Determinant, inverse, linear systems, condition number, rank,
pseudo-inverse and least squares. Tolerances grow with the condition number
of the problem, computed from the reference's singular values."""
import numpy as np

from framework import TYPES, cond2, eps, fro, ill_cond, per_type, shaped_inputs, wide

GENERAL, POSDEF, LOWER, UPPER = 0, 1, 2, 3


def typed_matrix(run, t, kind, n, ill=False):
    """A matrix for the matrix-type selector `kind`, and the matrix the
    export should take it for: the Hermitian matrix its lower triangle
    describes (kind 1), its named triangle (kinds 2 and 3). The part the
    export must not read holds junk."""
    if kind == POSDEF:
        h = run.hpd(t, n, ill_cond(t) if ill else None)
        junk = run.rand(t, n, n) * 5
        a = np.where(np.tril(np.ones((n, n), bool)), h, junk)
        return a, wide(h)
    a = run.conditioned(t, n, ill_cond(t)) if ill and kind == GENERAL else run.rand(t, n, n)
    if kind in (LOWER, UPPER):
        # a triangle with a dominant diagonal: random triangles are
        # exponentially ill-conditioned, which would hide every error
        a = a + np.diag(np.where(np.real(np.diag(a)) >= 0, 1, -1) * (2 + (n if not ill else 0))).astype(TYPES[t])
        if ill:
            a[-1, -1] = a[-1, -1] / ill_cond(t)
        tri = np.tril(wide(a)) if kind == LOWER else np.triu(wide(a))
        return a, tri
    return a, wide(a)


def square_cases(t):
    return [(1, False), (2, False), (4, False), (40, False), (6, True)]


def _each_square_kind():
    """Every element type, square size and matrix kind of the square exports."""
    for t in "sdcz":
        for n, ill in square_cases(t):
            for kind in range(4):
                yield t, eps(t), n, ill, kind


def _label(n, ill, t):
    return f"{n}x{n}" + (f" cond {ill_cond(t):g}" if ill else "")


def _residual(c, a, x, b, e):
    """The normwise backward error, which does not grow with the condition."""
    a, x, b = wide(a), wide(x), wide(b)
    n = a.shape[0]
    c.close("residual", a @ x - b, np.zeros_like(b), 20 * n * e,
            scale=np.linalg.norm(a, 2) * fro(x) + fro(b))


def determinant(run):
    for t, e, n, ill, kind in _each_square_kind():
        a, used = typed_matrix(run, t, kind, n, ill)
        if kind in (LOWER, UPPER):
            # the diagonal alone, at every size; kept near 1 in
            # magnitude so that 40 factors stay in range
            a = (a / (n + 2)).astype(TYPES[t])
            want, tol = np.prod(np.diag(wide(a))), 4 * n * e
        elif n <= 2:
            # closed forms that read every element
            if kind == POSDEF:
                a = used.astype(TYPES[t])
            want, tol = np.linalg.det(wide(a)), 20 * e * cond2(a)
        else:
            want, tol = np.linalg.det(used), 20 * n * e * cond2(used)
        with run.case(f"{t}DeterminantH", f"{_label(n, ill, t)} matrixType={kind}") as c:
            r = run.call(f"{t}DeterminantH", A=a, matrixType=kind)
            c.status(r)
            c.close("determinant", r["determinant"], want, tol)


def inverse(run):
    for t, e, n, ill, kind in _each_square_kind():
        a, used = typed_matrix(run, t, kind, n, ill)
        with run.case(f"{t}InvMtrxH", f"{_label(n, ill, t)} matrixType={kind}") as c:
            r = run.call(f"{t}InvMtrxH", A=a, matrixType=kind)
            c.status(r)
            got = wide(r["A"])
            c.shape("inverse", got, (n, n))
            inv = np.linalg.inv(used)
            tol = 20 * n * e * cond2(used)
            if kind in (LOWER, UPPER):
                mask = np.tril(np.ones((n, n), bool)) if kind == LOWER else np.triu(np.ones((n, n), bool))
                c.close("named triangle", np.where(mask, got, 0), inv, tol)
                c.exact("other triangle as given", got[~mask], wide(a)[~mask])
            else:
                c.close("inverse", got, inv, tol)
                _residual(c, used, got, np.eye(n), e)
                if kind == POSDEF:
                    c.exact("exactly Hermitian", got, got.conj().T)


def linear_systems(run):
    for t, e, n, ill, kind in _each_square_kind():
        a, used = typed_matrix(run, t, kind, n, ill)
        tol = 20 * n * e * cond2(used)
        b = run.rand(t, n)
        with run.case(f"{t}LinEqH", f"{_label(n, ill, t)} matrixType={kind}") as c:
            r = run.call(f"{t}LinEqH", A=a, B=b, matrixType=kind)
            c.status(r)
            c.close("x", r["X"], np.linalg.solve(used, wide(b)), tol)
            _residual(c, used, r["X"], b, e)
        for k in (1, 3):
            bs = run.rand(t, n, k)
            with run.case(f"{t}LinEqSetH", f"{_label(n, ill, t)} k={k} matrixType={kind}") as c:
                r = run.call(f"{t}LinEqSetH", A=a, B=bs, matrixType=kind)
                c.status(r)
                c.close("X", r["X"], np.linalg.solve(used, wide(bs)), tol)
                _residual(c, used, r["X"], bs, e)


def condition_number(run):
    refs = {0: 2, 1: 1, 2: "fro", 3: np.inf}
    for t, e, label, a in per_type(run, shaped_inputs):
        m, n = a.shape
        for kind, p in refs.items():
            if kind and m != n:
                continue
            with run.case(f"{t}CondNumberH", f"{label} normType={kind}") as c:
                r = run.call(f"{t}CondNumberH", A=a, normType=kind)
                c.status(r)
                want = np.linalg.cond(wide(a), p)
                c.close("condition number", r["result"], want, 20 * max(m, n) * e * cond2(a))


def rank(run):
    for t in "sdcz":
        e = eps(t)
        spread = run.with_singular_values(t, 6, 5, [10, 5, 1, 1e-2, 1e-4]).astype(TYPES[t])
        zero_cols = run.rand(t, 6, 5)
        zero_cols[:, 3:] = 0
        cases = [("4x4", run.rand(t, 4, 4), (-1, 0)), ("5x3", run.rand(t, 5, 3), (-1, 0)),
                 ("3x5", run.rand(t, 3, 5), (-1, 0)), ("40x40", run.rand(t, 40, 40), (-1,)),
                 ("6x5 spread", spread, (-1, 0, 0.1, 1e-3)), ("6x5 two zero columns", zero_cols, (-1,)),
                 ("3x4 zero", np.zeros((3, 4), TYPES[t]), (-1, 0))]
        for label, a, tolerances in cases:
            m, n = a.shape
            s = np.linalg.svd(wide(a), compute_uv=False)
            for tol in tolerances:
                cut = max(m, n) * s[0] * e if tol < 0 else tol
                want = int(np.sum(s > cut))
                with run.case(f"{t}RankH", f"{label} tolerance={tol:g}") as c:
                    r = run.call(f"{t}RankH", A=a, tolerance=tol)
                    c.status(r)
                    c.true("rank", int(r["rank"]) == want, f"{int(r['rank'])}, expected {want}")


def _kept_condition(s, cut):
    kept = s[s > cut]
    return float(kept[0] / kept[-1]) if len(kept) else 1.0


def pseudo_inverse(run):
    for t in "sdcz":
        e = eps(t)
        cases = [(f"{m}x{n}", run.rand(t, m, n), (-1, 0)) for m, n in [(1, 1), (4, 4), (5, 3), (3, 5), (40, 40)]]
        cases.append(("6x5 rank 3", run.with_singular_values(t, 6, 5, [3, 2, 1, 0, 0]).astype(TYPES[t]), (-1,)))
        cases.append(("5x6 spread", run.with_singular_values(t, 5, 6, [10, 5, 1, 1e-2, 1e-4]).astype(TYPES[t]),
                      (0.5,)))
        for label, a, tolerances in cases:
            m, n = a.shape
            aw = wide(a)
            s = np.linalg.svd(aw, compute_uv=False)
            for tol in tolerances:
                cut = max(m, n) * s[0] * e if tol < 0 else tol
                with run.case(f"{t}PseudoInvMtrxH", f"{label} tolerance={tol:g}") as c:
                    r = run.call(f"{t}PseudoInvMtrxH", A=a, tolerance=tol)
                    c.status(r)
                    got = wide(r["A"])
                    c.shape("pseudo-inverse", got, (n, m))
                    want = np.linalg.pinv(aw, rcond=cut / s[0]) if s[0] > 0 else np.zeros((n, m))
                    kappa = _kept_condition(s, cut)
                    c.close("pseudo-inverse", got, want, 20 * max(m, n) * e * kappa ** 2)
                    if tol <= 0 or label.endswith("rank 3"):  # Penrose: A X A = A when nothing is cut
                        c.close("A X A = A", aw @ got @ aw, aw, 20 * max(m, n) * e * kappa)


def least_squares(run):
    for t in "sdcz":
        e = eps(t)
        cases = [("8x4", run.rand(t, 8, 4)), ("3x6", run.rand(t, 3, 6)), ("1x1", run.rand(t, 1, 1)),
                 ("40x40", run.rand(t, 40, 40)),
                 (f"8x4 cond {ill_cond(t) ** 0.5:g}",
                  run.with_singular_values(t, 8, 4, np.logspace(0, -np.log10(ill_cond(t)) / 2, 4)).astype(TYPES[t])),
                 ("8x5 rank 3", run.with_singular_values(t, 8, 5, [3, 2, 1, 0, 0]).astype(TYPES[t]))]
        for label, a in cases:
            m, n = a.shape
            aw = wide(a)
            s = np.linalg.svd(aw, compute_uv=False)
            for tol in (0.0, 1e-5, -1.0):
                cut = (tol if tol > 0 else e) * s[0] * max(m, n)
                rank = int(np.sum(s > cut))
                want_status = 20001 if rank < min(m, n) else 0
                kappa = _kept_condition(s, cut)
                for k in ((None, 1, 3) if m > 1 else (None, 1)):
                    name = f"{t}LSEqH" if k is None else f"{t}LSEqSetH"
                    b = run.rand(t, m) if k is None else run.rand(t, m, k)
                    bw = wide(b)
                    x = np.linalg.lstsq(aw, bw, rcond=cut / s[0])[0]
                    res = fro(bw - aw @ x)
                    rho = res / max(s[0] * fro(x), 1e-300)
                    with run.case(name, f"{label} tolerance={tol:g}" + ("" if k is None else f" k={k}")) as c:
                        r = run.call(name, A=a, B=b, tolerance=tol)
                        c.status(r, want_status)
                        c.close("x", r["X"], x, 20 * max(m, n) * e * (kappa + kappa ** 2 * rho))
                        if rank == min(m, n):
                            # the normal equations hold whatever the conditioning
                            xr = wide(r["X"])
                            c.close("A^H (b - A x) = 0", aw.conj().T @ (bw - aw @ xr), np.zeros_like(xr),
                                    20 * max(m, n) * e, scale=s[0] * (s[0] * fro(xr) + fro(bw)))


FAMILIES = [determinant, inverse, linear_systems, condition_number, rank, pseudo_inverse, least_squares]
