"""Cholesky, LU, QR, SVD, Schur, eigenvalues (general, symmetric, Hermitian,
generalized) and QZ. Factors that are unique only up to a convention (signs,
phases, order) are checked through the identities that define them; the
convention-free quantities (singular values, eigenvalues as multisets) are
compared with the reference directly."""
import warnings

import numpy as np
import scipy.linalg as sl

from framework import (TYPES, check_eigenvalues, check_unitary, cond2, eigen_conditions, eps, fro, ill_cond,
                       is_complex, per_type, shaped_inputs, wide)

def square_inputs(run, t, sizes=(1, 4, 40)):
    """(label, matrix): random squares of each size and one ill-conditioned one."""
    out = [(f"{n}x{n}", run.rand(t, n, n)) for n in sizes]
    out.append((f"6x6 cond {ill_cond(t):g}", run.conditioned(t, 6, ill_cond(t))))
    return out


def _each_shaped(run):
    """Every element type's shaped inputs with their precision and sizes."""
    for t, e, label, a in per_type(run, shaped_inputs):
        m, n = a.shape
        yield t, e, label, a, m, n, min(m, n)


def hermitian_inputs(run, t):
    out = [(f"{n}x{n}", run.hpd(t, n)) for n in (1, 4, 40)]
    out.append((f"6x6 cond {ill_cond(t):g}", run.hpd(t, 6, ill_cond(t))))
    return out


def with_junk(run, t, h, keep_lower):
    """The triangle the export reads, and finite junk in the other one."""
    junk = run.rand(t, *h.shape) * 7
    return np.where(np.tril(np.ones(h.shape, bool)) if keep_lower else np.triu(np.ones(h.shape, bool)), h, junk)


def cholesky(run):
    for t, e, label, h in per_type(run, hermitian_inputs):
        n = h.shape[0]
        href = wide(h)
        for kind in (0, 1):
            a = with_junk(run, t, h, keep_lower=(kind == 0))
            with run.case(f"{t}CholeskyH", f"{label} factorKind={kind}") as c:
                r = run.call(f"{t}CholeskyH", A=a, factorKind=kind)
                c.status(r)
                f = wide(r["A"])
                c.shape("factor", f, (n, n))
                other = np.triu(f, 1) if kind == 0 else np.tril(f, -1)
                c.exact("other triangle", other, np.zeros_like(other))
                d = np.diag(f)
                c.true("diagonal real and positive", np.all(d.real > 0) and np.all(d.imag == 0))
                prod = f @ f.conj().T if kind == 0 else f.conj().T @ f
                c.close("factor product", prod, href, 20 * n * e)
                want = sl.cholesky(href, lower=(kind == 0))
                c.close("factor", f, want, 20 * n * e * cond2(href))


def lu(run):
    for t in "sdcz":
        e = eps(t)
        inputs = shaped_inputs(run, t)
        singular = run.rand(t, 4, 4)
        singular[:, 0] = 0
        inputs.append(("4x4 zero column", singular))
        for label, a in inputs:
            m, n = a.shape
            k = min(m, n)
            with run.case(f"{t}LUH", label) as c:
                r = run.call(f"{t}LUH", A=a)
                c.status(r, 20003 if "zero column" in label else 0)
                L, U, P, piv = wide(r["L"]), wide(r["U"]), r["P"], r["pivots"]
                c.shape("L", L, (m, k))
                c.shape("U", U, (k, n))
                c.shape("P", P, (m, m))
                c.shape("pivots", piv, (m,))
                c.exact("L unit lower", np.triu(L), np.eye(m, k))
                c.exact("U upper", np.tril(U, -1), np.zeros((k, n)))
                # partial pivoting bounds |L| by 1; complex pivots are chosen by
                # |re| + |im| (LAPACK's i?amax), which allows up to √2
                bound = np.sqrt(2) if is_complex(t) else 1.0
                c.true("|L| bounded (partial pivoting)", np.all(np.abs(L) <= bound * (1 + 4 * e)))
                c.true("pivots in range", np.all(piv >= np.arange(m)) and np.all(piv < m))
                perm = np.arange(m)
                for i, p in enumerate(piv):
                    perm[[i, p]] = perm[[p, i]]
                c.exact("P from the pivots", P, np.eye(m, dtype=np.int32)[perm])
                c.close("P A = L U", P @ wide(a), L @ U, 20 * k * e, scale=fro(a))
                if t in "dz":  # the same partial pivoting as LAPACK's getrf
                    with np.errstate(all="ignore"), warnings.catch_warnings():
                        warnings.simplefilter("ignore")
                        _, want_piv = sl.lu_factor(wide(a), check_finite=False)
                    c.exact("pivots against the reference", piv[:k], want_piv[:k])


def qr(run):
    for t, e, label, a, m, n, k in _each_shaped(run):
        aw = wide(a)
        for pivoting in (0, 1):
            for mode in (0, 1, 2):
                with run.case(f"{t}QRH", f"{label} pivoting={pivoting} mode={mode}") as c:
                    r = run.call(f"{t}QRH", A=a, pivoting=pivoting, mode=mode)
                    c.status(r)
                    Q, R, P, piv = wide(r["Q"]), wide(r["R"]), r["P"], r["pivots"]
                    c.shape("Q", Q, [(m, m), (m, k), (0, 0)][mode])
                    c.shape("R", R, (m, n) if mode == 0 else (k, n))
                    c.exact("R upper", np.tril(R, -1), np.zeros_like(R))
                    if pivoting:
                        c.shape("P", P, (n, n))
                        c.true("pivots a permutation", sorted(piv.tolist()) == list(range(n)))
                        c.exact("P from the pivots", P, np.eye(n, dtype=np.int32)[:, piv])
                        ap = aw[:, piv]
                        d = np.abs(np.diag(R))
                        c.true("|diag R| non-increasing", np.all(d[1:] <= d[:-1] * (1 + 20 * n * e)))
                        if t in "dz":
                            _, _, want_piv = sl.qr(aw, pivoting=True, mode="economic")
                            c.exact("pivots against the reference", piv, want_piv)
                    else:
                        c.shape("P", P, (0, 0))
                        c.shape("pivots", piv, (0,))
                        ap = aw
                    scale2 = fro(aw) ** 2
                    c.close("R^H R = (AP)^H (AP)", R.conj().T @ R, ap.conj().T @ ap, 20 * max(m, n) * e,
                            scale=scale2)
                    if mode != 2:
                        check_unitary(c, "Q", Q, 20 * max(m, n) * e)
                        c.close("A P = Q R", Q @ R, ap, 20 * max(m, n) * e, scale=fro(aw))


def svd(run):
    for t, e, label, a, m, n, k in _each_shaped(run):
        aw = wide(a)
        want = np.linalg.svd(aw, compute_uv=False)
        for values_only in (0, 1):
            for mode in (0, 1):
                with run.case(f"{t}SVDH", f"{label} valuesOnly={values_only} mode={mode}") as c:
                    r = run.call(f"{t}SVDH", A=a, valuesOnly=values_only, mode=mode)
                    c.status(r)
                    S = wide(r["S"])
                    c.close("singular values", S, want, 20 * max(m, n) * e, scale=want[0])
                    c.true("non-increasing, non-negative", np.all(np.diff(S) <= 0) and S[-1] >= 0)
                    U, V = wide(r["U"]), wide(r["V"])
                    if values_only:
                        c.shape("U", U, (0, 0))
                        c.shape("V", V, (0, 0))
                        continue
                    c.shape("U", U, (m, k) if mode == 0 else (m, m))
                    c.shape("V", V, (n, k) if mode == 0 else (n, n))
                    check_unitary(c, "U", U, 20 * max(m, n) * e)
                    check_unitary(c, "V", V, 20 * max(m, n) * e)
                    c.close("A = U S V^H", (U[:, :k] * S) @ V[:, :k].conj().T, aw, 20 * max(m, n) * e)


def _quasi_triangular(c, what, T, real):
    n = T.shape[0]
    if not real:
        c.exact(f"{what} upper triangular", np.tril(T, -1), np.zeros_like(T))
        return
    c.exact(f"{what} zero below the subdiagonal", np.tril(T, -2), np.zeros_like(T))
    sub = np.diag(T, -1) != 0
    c.true(f"{what} 2x2 blocks do not overlap", not np.any(sub[1:] & sub[:-1]) if n > 2 else True)


def _block_eigenvalues(T, real):
    """Eigenvalues read off a (quasi-)triangular T, a pair positive part first."""
    n = T.shape[0]
    out, i = [], 0
    while i < n:
        if real and i + 1 < n and T[i + 1, i] != 0:
            w = np.linalg.eigvals(T[i:i + 2, i:i + 2])
            w = sorted(w, key=lambda z: -z.imag)
            out += w
            i += 2
        else:
            out.append(T[i, i])
            i += 1
    return np.array(out, dtype=np.complex128)


SORT_KEYS = {1: (lambda w: w.real, 1), 2: (lambda w: w.real, -1), 3: (lambda w: np.abs(w), 1),
             4: (lambda w: np.abs(w), -1)}


def _each_spectrum(run):
    """Every element type's square inputs with their reference spectrum."""
    for t, e, label, a in per_type(run, square_inputs):
        aw = wide(a)
        ref, kappa = eigen_conditions(aw)
        yield t, e, label, a, not is_complex(t), a.shape[0], aw, ref, kappa


def schur(run):
    for t, e, label, a, real, n, aw, ref, kappa in _each_spectrum(run):
        for vectors in (0, 1):
            for order in range(5):
                with run.case(f"{t}SchurH", f"{label} computeVectors={vectors} sortOrder={order}") as c:
                    r = run.call(f"{t}SchurH", A=a, computeVectors=vectors, sortOrder=order)
                    c.status(r)
                    T, Z, w = wide(r["A"]), wide(r["Z"]), np.asarray(r["eigenvalues"], np.complex128)
                    c.shape("T", T, (n, n))
                    _quasi_triangular(c, "T", T, real)
                    c.close("eigenvalues from T's blocks", w, _block_eigenvalues(T, real), 10 * e,
                            scale=fro(T))
                    check_eigenvalues(c, "eigenvalues", w, ref, kappa, 20 * n * e)
                    c.close("||T|| = ||A||", fro(T), fro(aw), 20 * n * e)
                    if order:
                        key, sign = SORT_KEYS[order]
                        steps = sign * np.diff(key(w))
                        c.true(f"sorted by order {order}", np.all(steps >= -20 * n * e * fro(aw)))
                    if vectors:
                        c.shape("Z", Z, (n, n))
                        check_unitary(c, "Z", Z, 20 * n * e)
                        c.close("A = Z T Z^H", Z @ T @ Z.conj().T, aw, 20 * n * e)
                    else:
                        c.shape("Z", Z, (0, 0))


def eigen(run):
    for t, e, label, a, real, n, aw, ref, kappa in _each_spectrum(run):
        for option in (0, 1):
            with run.case(f"{t}EigenVH", f"{label} option={option}") as c:
                r = run.call(f"{t}EigenVH", A=a, option=option)
                c.status(r)
                w, V = np.asarray(r["eigenvalues"], np.complex128), wide(r["eigenvectors"])
                check_eigenvalues(c, "eigenvalues", w, ref, kappa, 20 * n * e)
                if real:
                    pos = np.where(w.imag > 0)[0]
                    c.true("conjugate pairs adjacent, positive first",
                           all(i + 1 < n and w[i + 1] == np.conj(w[i]) for i in pos))
                if option == 0:
                    c.shape("eigenvectors", V, (0, 0))
                    continue
                c.shape("eigenvectors", V, (n, n))
                c.close("unit columns", np.linalg.norm(V, axis=0), np.ones(n), 20 * n * e)
                c.close("A V = V diag(w)", aw @ V, V * w, 20 * n * e, scale=fro(aw))
                if real:
                    for i in np.where(w.imag > 0)[0]:
                        if i + 1 < n:
                            c.exact(f"pair {i} vectors conjugate", V[:, i + 1], np.conj(V[:, i]))


def sym_eigen(run):
    for t, e, label, h in per_type(run, hermitian_inputs):
        name = f"{t}HermEigenVH" if is_complex(t) else f"{t}SymEigenVH"
        n = h.shape[0]
        a = with_junk(run, t, h, keep_lower=True)  # only the lower triangle is read
        hw = wide(np.tril(a)) + np.tril(wide(a), -1).conj().T
        want = np.linalg.eigvalsh(hw)
        for option in (0, 1):
            with run.case(name, f"{label} option={option}") as c:
                r = run.call(name, A=a, option=option)
                c.status(r)
                w, V = wide(r["eigenvalues"]), wide(r["eigenvectors"])
                c.close("eigenvalues, ascending", w, want, 20 * n * e, scale=abs(want).max())
                if option == 0:
                    c.shape("eigenvectors", V, (0, 0))
                    continue
                c.shape("eigenvectors", V, (n, n))
                check_unitary(c, "eigenvectors", V, 20 * n * e)
                c.close("A V = V diag(w)", hw @ V, V * w, 20 * n * e, scale=fro(hw))


def _pencils(run, t):
    out = [(f"{n}x{n}", (run.rand(t, n, n), run.rand(t, n, n) + 3 * np.eye(n, dtype=TYPES[t])))
           for n in (1, 4, 40)]
    out.append((f"6x6 B cond {ill_cond(t):g}", (run.rand(t, 6, 6), run.conditioned(t, 6, ill_cond(t)))))
    return out


def _each_pencil(run):
    """Every element type's pencils with their reference spectrum."""
    for t, e, label, (a, b) in per_type(run, _pencils):
        aw, bw = wide(a), wide(b)
        ref, kappa = eigen_conditions(aw, bw)
        yield t, e, label, a, b, a.shape[0], aw, bw, ref, kappa


def gen_eigen(run):
    for t, e, label, a, b, n, aw, bw, ref, kappa in _each_pencil(run):
        for option in (0, 1):
            with run.case(f"{t}GenEigenVH", f"{label} option={option}") as c:
                r = run.call(f"{t}GenEigenVH", A=a, B=b, option=option)
                c.status(r)
                w, V = np.asarray(r["eigenvalues"], np.complex128), wide(r["eigenvectors"])
                check_eigenvalues(c, "eigenvalues", w, ref, kappa, 20 * n * e)
                if option == 0:
                    c.shape("eigenvectors", V, (0, 0))
                    continue
                c.shape("eigenvectors", V, (n, n))
                res = np.linalg.norm(aw @ V - (bw @ V) * w, axis=0)
                bound = 20 * n * e * (np.linalg.norm(aw, 2) + np.abs(w) * np.linalg.norm(bw, 2)) \
                    * np.linalg.norm(V, axis=0)
                c.true("A v = w B v", np.all(res <= bound), f"worst {np.max(res / bound):.3g} of the bound")


def qz(run):
    for t, e, label, a, b, n, aw, bw, ref, kappa in _each_pencil(run):
        real = not is_complex(t)
        for vectors in (0, 1):
            with run.case(f"{t}QZH", f"{label} computeVectors={vectors}") as c:
                r = run.call(f"{t}QZH", A=a, B=b, computeVectors=vectors)
                c.status(r)
                S, T = wide(r["A"]), wide(r["B"])
                Q, Z = wide(r["Q"]), wide(r["Z"])
                w = np.asarray(r["eigenvalues"], np.complex128)
                c.shape("S", S, (n, n))
                c.shape("T", T, (n, n))
                _quasi_triangular(c, "S", S, real)
                c.exact("T upper triangular", np.tril(T, -1), np.zeros_like(T))
                d = np.diag(T)
                c.true("T's diagonal real, non-negative", np.all(d.imag == 0) and np.all(d.real >= 0))
                check_eigenvalues(c, "eigenvalues", w, ref, kappa, 20 * n * e)
                c.close("||S|| = ||A||", fro(S), fro(aw), 20 * n * e)
                c.close("||T|| = ||B||", fro(T), fro(bw), 20 * n * e)
                if not vectors:
                    c.shape("Q", Q, (0, 0))
                    c.shape("Z", Z, (0, 0))
                    continue
                check_unitary(c, "Q", Q, 20 * n * e)
                check_unitary(c, "Z", Z, 20 * n * e)
                c.close("A = Q S Z^H", Q @ S @ Z.conj().T, aw, 20 * n * e)
                c.close("B = Q T Z^H", Q @ T @ Z.conj().T, bw, 20 * n * e)


FAMILIES = [cholesky, lu, qr, svd, schur, eigen, sym_eigen, gen_eigen, qz]
