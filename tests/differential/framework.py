"""Cases, checks, random inputs and tolerances shared by every family.

A case is one call of one export (or a few calls that one check needs) and the
comparisons made on its results; it passes when every comparison does. Errors
are measured against a reference computed in double precision (complex128 or
float64) from exactly the values the library was given, so a single-precision
result is judged against the true answer, not against another rounding of it.
"""
import contextlib
import traceback

import numpy as np
from scipy.optimize import linear_sum_assignment

TYPES = {"s": np.float32, "d": np.float64, "c": np.complex64, "z": np.complex128}
REAL = {"s": np.float32, "d": np.float64, "c": np.float32, "z": np.float64}
COMPLEX = {"s": np.complex64, "d": np.complex128, "c": np.complex64, "z": np.complex128}


def eps(t):
    return float(np.finfo(REAL[t]).eps)


def is_complex(t):
    return t in "cz"


def wide(x):
    """The reference's working copy: double precision, complex if x is."""
    x = np.asarray(x)
    return x.astype(np.complex128 if x.dtype.kind == "c" else np.float64)


def fro(x):
    return float(np.linalg.norm(np.asarray(x, dtype=np.complex128).reshape(-1)))


class Stop(Exception):
    """Ends a case early when a later check could only fail for the same reason."""


class Case:
    def __init__(self, export, case_id):
        self.export, self.case_id = export, case_id
        self.problems = []

    def fail(self, message):
        self.problems.append(message)

    def status(self, result, want=0):
        if result.status != want:
            self.fail(f"status {result.status}, expected {want}")
            raise Stop()

    def true(self, what, condition, detail=""):
        if not bool(condition):
            self.fail(f"{what}{': ' + detail if detail else ''}")

    def shape(self, what, got, want_shape):
        if np.shape(got) != tuple(want_shape):
            self.fail(f"{what}: shape {np.shape(got)}, expected {tuple(want_shape)}")
            raise Stop()

    def close(self, what, got, want, tol, scale=None):
        """‖got − want‖_F / scale ≤ tol, scale ‖want‖_F unless given."""
        got, want = np.asarray(got), np.asarray(want)
        if got.shape != want.shape:
            self.fail(f"{what}: shape {got.shape}, expected {want.shape}")
            return False
        if not np.all(np.isfinite(got)):
            self.fail(f"{what}: non-finite value in the result")
            return False
        if scale is None:
            scale = fro(want)
        scale = scale if scale > 0 else 1.0
        err = fro(wide(got) - wide(want)) / scale
        if not err <= tol:
            self.fail(f"{what}: relative error {err:.3g} > tolerance {tol:.3g}")
            return False
        return True

    def exact(self, what, got, want):
        got, want = np.asarray(got), np.asarray(want)
        if got.shape != want.shape or not np.array_equal(got, want):
            diff = "" if got.shape != want.shape else f", {int(np.sum(got != want))} elements differ"
            self.fail(f"{what}: not exactly as expected (shape {got.shape} vs {want.shape}{diff})")


class Run:
    def __init__(self, lib, seed, known_faults, verbose=False):
        self.lib = lib
        self.rng = np.random.default_rng(seed)
        self.known = dict(known_faults)
        self.verbose = verbose
        self.passed = 0
        self.failed = []
        self.expected = []
        self.unexpected_pass = []
        self.seen_known = set()

    def call(self, export, **args):
        return self.lib.call(export, **args)

    @contextlib.contextmanager
    def case(self, export, case_id):
        c = Case(export, case_id)
        try:
            yield c
        except Stop:
            pass
        except Exception:  # a case that breaks the checking code fails, the run goes on
            c.fail("exception: " + traceback.format_exc(limit=3).strip().replace("\n", " | "))
        key = (export, case_id)
        known = key in self.known
        if known:
            self.seen_known.add(key)
        if c.problems and known:
            self.expected.append((key, c.problems))
        elif c.problems:
            self.failed.append((key, c.problems))
            print(f"FAIL {export} [{case_id}]: " + "; ".join(c.problems))
        elif known:
            self.unexpected_pass.append(key)
            print(f"XPASS {export} [{case_id}]: listed in KNOWN_FAULTS but passed; remove it from the list")
        else:
            self.passed += 1
            if self.verbose:
                print(f"ok   {export} [{case_id}]")

    # ---- random inputs ---------------------------------------------------------
    def rand(self, t, *shape):
        x = self.rng.standard_normal(shape)
        if is_complex(t):
            x = (x + 1j * self.rng.standard_normal(shape)) / np.sqrt(2)
        return x.astype(TYPES[t])

    def unitary(self, t, n):
        q, r = np.linalg.qr(wide(self.rand(t, n, n)))
        return q * (np.diag(r) / np.abs(np.diag(r)))

    def with_singular_values(self, t, m, n, values):
        """An m x n matrix of the given singular values (then rounded to type t)."""
        k = min(m, n)
        u, v = self.unitary(t, m)[:, :k], self.unitary(t, n)[:, :k]
        return (u * np.asarray(values, dtype=float)[:k]) @ v.conj().T

    def conditioned(self, t, n, cond):
        return self.with_singular_values(t, n, n, np.logspace(0, -np.log10(cond), n)).astype(TYPES[t])

    def hpd(self, t, n, cond=None):
        """A symmetric (Hermitian) positive definite matrix."""
        if cond is None:
            b = wide(self.rand(t, n, n))
            a = b @ b.conj().T / n + np.eye(n)
        else:
            q = self.unitary(t, n)
            a = (q * np.logspace(0, -np.log10(cond), n)) @ q.conj().T
        a = (a + a.conj().T) / 2
        return a.astype(TYPES[t])


def ill_cond(t):
    """The condition of the ill-conditioned inputs, within reach of the type."""
    return 1e3 if t in "sc" else 1e8


def shaped_inputs(run, t):
    """(label, matrix): random matrices of every orientation and one
    ill-conditioned square."""
    out = [(f"{m}x{n}", run.rand(t, m, n)) for m, n in [(1, 1), (4, 4), (5, 3), (3, 5), (40, 40)]]
    out.append((f"6x6 cond {ill_cond(t):g}", run.conditioned(t, 6, ill_cond(t))))
    return out


def per_type(run, inputs):
    """(type letter, its ε, label, input) over the four element types and the
    labelled inputs that `inputs(run, t)` makes for each."""
    for t in "sdcz":
        for label, a in inputs(run, t):
            yield t, eps(t), label, a


def cond2(a):
    s = np.linalg.svd(wide(a), compute_uv=False)
    return float(s[0] / s[-1]) if s[-1] > 0 else np.inf


def match(got, want):
    """Reorders `got` to pair each value with the nearest of `want` (an optimal
    assignment), for comparing eigenvalues whose order is a convention."""
    got, want = np.asarray(got, dtype=np.complex128), np.asarray(want, dtype=np.complex128)
    if got.shape != want.shape:
        return got
    cost = np.abs(got[:, None] - want[None, :])
    cost = np.where(np.isfinite(cost), cost, 1e300)
    rows, cols = linear_sum_assignment(cost)
    out = np.empty_like(want)
    out[cols] = got[rows]
    return out


def eigen_conditions(a, b=None):
    """Each eigenvalue of A (or of the pencil A - λB) with its condition
    number, from the left and right eigenvectors of the reference."""
    import scipy.linalg as sl

    a = wide(a)
    if b is None:
        w, vl, vr = sl.eig(a, left=True, right=True)
        denom = np.abs(np.sum(vl.conj() * vr, axis=0))
        scale = np.linalg.norm(a, 2)
    else:
        b = wide(b)
        w, vl, vr = sl.eig(a, b, left=True, right=True)
        denom = np.abs(np.sum(vl.conj() * (b @ vr), axis=0))
        scale = np.linalg.norm(a, 2) + np.abs(w) * np.linalg.norm(b, 2)
    norms = np.linalg.norm(vl, axis=0) * np.linalg.norm(vr, axis=0)
    with np.errstate(divide="ignore"):
        kappa = np.where(denom > 0, norms / denom, np.inf)
    return w, kappa * scale


def check_eigenvalues(c, what, got, want, kappa_scale, tol_unit):
    """Eigenvalues as multisets: each reference value within tol_unit times
    its own condition (times the matrix's scale) of the value paired with it."""
    got = np.asarray(got)
    if got.shape != np.shape(want):
        c.fail(f"{what}: {got.shape} values, expected {np.shape(want)}")
        return
    paired = match(got, want)
    err = np.abs(paired - want)
    bound = tol_unit * np.maximum(kappa_scale, 1e-300)
    bad = ~(err <= bound)
    if bad.any():
        i = int(np.argmax(err / bound))
        c.fail(f"{what}: {int(bad.sum())} of {len(want)} off, worst {paired[i]:.6g} vs {want[i]:.6g} "
               f"(error {err[i]:.3g} > {bound[i]:.3g})")


def check_unitary(c, what, q, tol):
    q = wide(q)
    k = q.shape[1]
    c.close(f"{what} orthonormal", q.conj().T @ q, np.eye(k), tol, scale=np.sqrt(max(k, 1)))
