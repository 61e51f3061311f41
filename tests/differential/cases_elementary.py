"""Products, transpose, trace, mean, RMS, norms, special matrices and the
zwblas_ wrappers against NumPy and SciPy."""
import numpy as np
import scipy.linalg as sl

from framework import TYPES, eps, fro, is_complex, wide


def products(run):
    for t in "sdcz":
        e = eps(t)
        for m, k, n in [(1, 1, 1), (3, 4, 2), (5, 2, 6), (40, 40, 40)]:
            a, b = run.rand(t, m, k), run.rand(t, k, n)
            bound = fro(np.abs(wide(a)) @ np.abs(wide(b)))
            with run.case(f"{t}MtrxMulH", f"{m}x{k} * {k}x{n}") as c:
                r = run.call(f"{t}MtrxMulH", A=a, B=b)
                c.status(r)
                c.close("C", r["C"], wide(a) @ wide(b), 2 * k * e, scale=bound)
        for m, n in [(1, 1), (3, 5), (6, 2), (40, 40)]:
            a, x, w = run.rand(t, m, n), run.rand(t, n), run.rand(t, m)
            with run.case(f"{t}MtrxVecMulH", f"{m}x{n}") as c:
                r = run.call(f"{t}MtrxVecMulH", A=a, x=x)
                c.status(r)
                c.close("y", r["y"], wide(a) @ wide(x), 2 * n * e, scale=fro(np.abs(wide(a)) @ np.abs(wide(x))))
            with run.case(f"{t}VecMtrxMulH", f"{m}x{n}") as c:
                r = run.call(f"{t}VecMtrxMulH", x=w, A=a)
                c.status(r)
                # x A, with no conjugate on either operand
                c.close("y", r["y"], wide(w) @ wide(a), 2 * m * e, scale=fro(np.abs(wide(w)) @ np.abs(wide(a))))
        for n in (1, 7, 40):
            x, y = run.rand(t, n), run.rand(t, n)
            with run.case(f"{t}DotProdH", f"n={n}") as c:
                r = run.call(f"{t}DotProdH", x=x, y=y)
                c.status(r)
                # sum of x(i) conj(y(i))
                c.close("result", r["result"], np.sum(wide(x) * np.conj(wide(y))), 2 * n * e,
                        scale=float(np.sum(np.abs(wide(x)) * np.abs(wide(y)))))
        for m, n in [(1, 1), (3, 5)]:
            x, y = run.rand(t, m), run.rand(t, n)
            with run.case(f"{t}OuterProdH", f"{m}x{n}") as c:
                r = run.call(f"{t}OuterProdH", x=x, y=y)
                c.status(r)
                c.close("C", r["C"], np.outer(wide(x), wide(y)), 2 * e)
        for (p, q), (rr, s) in [((1, 1), (1, 1)), ((2, 3), (3, 2)), ((1, 4), (3, 1))]:
            a, b = run.rand(t, p, q), run.rand(t, rr, s)
            with run.case(f"{t}KronProdH", f"{p}x{q} (x) {rr}x{s}") as c:
                r = run.call(f"{t}KronProdH", A=a, B=b)
                c.status(r)
                c.close("C", r["C"], np.kron(wide(a), wide(b)), 2 * e)


def basics(run):
    for t in "sdcz":
        e = eps(t)
        for m, n in [(1, 1), (3, 5), (5, 3), (40, 40)]:
            a = run.rand(t, m, n)
            with run.case(f"{t}TransposeH", f"{m}x{n}") as c:
                r = run.call(f"{t}TransposeH", A=a)
                c.status(r)
                c.exact("B", r["B"], np.conj(a).T)
            with run.case(f"{t}TraceH", f"{m}x{n}") as c:
                r = run.call(f"{t}TraceH", A=a)
                c.status(r)
                d = np.diag(wide(a))
                c.close("trace", r["result"], np.sum(d), 2 * len(d) * e, scale=float(np.sum(np.abs(d))))
        for n in (1, 3, 4, 9, 40):
            x = run.rand(t, n) + (3 if n == 9 else 0)  # one with a mean far from 0
            with run.case(f"{t}MeanH", f"n={n}") as c:
                r = run.call(f"{t}MeanH", x=x)
                c.status(r)
                c.close("mean", r["result"], np.mean(wide(x)), 2 * n * e, scale=float(np.mean(np.abs(wide(x)))))
            with run.case(f"{t}RMSH", f"n={n}") as c:
                r = run.call(f"{t}RMSH", x=x)
                c.status(r)
                c.close("rms", r["result"], np.sqrt(np.mean(np.abs(wide(x)) ** 2)), 2 * n * e)
            for p in (np.inf, -np.inf, 1.0, 2.0, 3.0, 0.5, -1.5):
                with run.case(f"{t}VectorNormH", f"n={n} p={p}") as c:
                    r = run.call(f"{t}VectorNormH", x=x, p=p)
                    c.status(r)
                    ax = np.abs(wide(x))
                    if np.isinf(p):
                        want = ax.max() if p > 0 else ax.min()
                    else:
                        want = np.sum(ax ** p) ** (1 / p)
                    c.close("norm", r["result"], want, 4 * n * e * max(1.0, 1 / abs(p)))


def norms(run):
    for t in "sdcz":
        e = eps(t)
        for m, n in [(1, 1), (3, 5), (5, 3), (40, 40)]:
            a = run.rand(t, m, n)
            aw = wide(a)
            refs = {0: np.linalg.norm(aw, 2), 1: np.linalg.norm(aw, 1), 2: np.linalg.norm(aw, "fro"),
                    3: np.linalg.norm(aw, np.inf)}
            for kind, want in refs.items():
                with run.case(f"{t}MtrxNormH", f"{m}x{n} type={kind}") as c:
                    r = run.call(f"{t}MtrxNormH", A=a, type=kind)
                    c.status(r)
                    c.close("norm", r["result"], want, 4 * max(m, n) * e)


def special(run):
    for t in "sdcz":
        e = eps(t)
        for nx, ny in [(1, 1), (4, 3), (3, 5)]:
            x, y = run.rand(t, nx), run.rand(t, ny)
            xw, yw = wide(x), wide(y)
            refs = {0: np.eye(nx + 1), 1: np.diag(xw),
                    2: sl.toeplitz(xw, np.concatenate([xw[:1], yw[1:]])),
                    3: np.vander(xw, nx),
                    5: sl.hankel(xw, np.concatenate([xw[-1:], yw[1:]]))}
            if nx >= 2:
                refs[4] = sl.companion(xw)
            for kind, want in refs.items():
                with run.case(f"{t}SpecialMtrxH", f"type={kind} x{nx} y{ny}") as c:
                    r = run.call(f"{t}SpecialMtrxH", type=kind, size=nx + 1, x=x, y=y)
                    c.status(r)
                    got = r["B"]
                    c.shape("B", got, want.shape)
                    # elementwise relative: the powers of a Vandermonde matrix
                    # span many magnitudes
                    err = np.abs(wide(got) - want) / np.maximum(np.abs(want), np.finfo(float).tiny)
                    c.true("B elementwise", np.all(err <= 4 * nx * e), f"worst relative error {err.max():.3g}")


# ---- zwblas_ -----------------------------------------------------------------------
ROW, COL = 101, 102
NOTRANS, TRANS, CONJTRANS = 111, 112, 113
UPPER, LOWER = 121, 122
NONUNIT, UNIT = 131, 132
LEFT, RIGHT = 141, 142


def op(x, trans):
    return x if trans == NOTRANS else (x.T if trans == TRANS else x.conj().T)


class Stored:
    """A host matrix holding an operand at an offset, with a leading dimension
    that serves both layouts: the operand's (i, j) is element
    start + i*ld + j row-major, start + i + j*ld column-major."""

    def __init__(self, run, t, r, c, layout, ro=1, co=1, fill=None):
        self.r, self.c, self.layout, self.ro, self.co = r, c, layout, ro, co
        self.ld = max(r, c) + co + 1
        rows = ro + max(r, c) + 2
        self.data = run.rand(t, rows, self.ld) if fill is None else np.full((rows, self.ld), fill, TYPES[t])
        start = ro * self.ld + co
        i, j = np.arange(r)[:, None], np.arange(c)[None, :]
        self.index = start + (i * self.ld + j if layout == ROW else i + j * self.ld)

    def operand(self, data=None):
        return wide((self.data if data is None else data).reshape(-1)[self.index])

    def args(self, prefix):
        return {f"{prefix}RowOffset": self.ro, f"{prefix}ColOffset": self.co}


class StoredVector:
    """A host vector holding n elements at an offset with an increment (a
    negative one runs backwards from the far end, as BLAS has it)."""

    def __init__(self, run, t, n, inc, offset=1):
        self.n, self.inc, self.offset = n, inc, offset
        self.data = run.rand(t, offset + (n - 1) * abs(inc) + 2)
        steps = np.arange(n) if inc > 0 else (n - 1 - np.arange(n))
        self.index = offset + steps * abs(inc)

    def operand(self, data=None):
        return wide((self.data if data is None else data)[self.index])


def scalar(run, t):
    return complex(run.rand(t, 1)[0]) if is_complex(t) else float(run.rand(t, 1)[0])


def check_written(c, what, got, stored, want_operand, tol, scale):
    """The operand region against the reference, everything else untouched."""
    c.shape(what, got, stored.data.shape)
    c.close(what, stored.operand(got), want_operand, tol, scale=scale)
    outside = np.ones(got.size, bool)
    outside[stored.index.reshape(-1)] = False
    c.exact(f"{what} outside the operand", got.reshape(-1)[outside], stored.data.reshape(-1)[outside])


def triangle(a, uplo, diag=NONUNIT):
    x = np.triu(a) if uplo == UPPER else np.tril(a)
    if diag == UNIT:
        np.fill_diagonal(x, 1)
    return x


def hermitian_from(a, uplo, conj):
    tri = triangle(a, uplo)
    strict = tri - np.diag(np.diag(tri))
    d = np.diag(np.diag(tri).real) if conj else np.diag(np.diag(tri))
    return strict + (strict.conj().T if conj else strict.T) + d


def blas(run):
    for t in "sdcz":
        e = eps(t)
        transes = (NOTRANS, TRANS, CONJTRANS)
        for layout in (ROW, COL):
            for ta in transes:
                for tb in transes:
                    m, n, k = (3, 4, 2) if (ta, tb) != (TRANS, CONJTRANS) else (40, 40, 40)
                    _gemm(run, t, e, m, n, k, ta, tb, layout, check=1 if ta != CONJTRANS else 0)
            if layout == ROW:  # a created C is sized by row-major reading
                _gemm(run, t, e, 2, 3, 4, NOTRANS, TRANS, layout, check=1, create=True)
            for trans in transes:
                for incx, incy in [(1, 1), (2, -1)]:
                    _gemv(run, t, e, 4, 3, trans, incx, incy, layout)
            for uplo in (UPPER, LOWER):
                for side in (LEFT, RIGHT):
                    _symm(run, t, e, "symm", side, uplo, layout)
                    if is_complex(t):
                        _symm(run, t, e, "hemm", side, uplo, layout)
                    for trans in transes:
                        for diag in (NONUNIT, UNIT):
                            _trmm(run, t, e, side, uplo, trans, diag, layout)
                for incx, incy in [(1, 1), (-2, 3)]:
                    _symv(run, t, e, "hemv" if is_complex(t) else "symv", uplo, incx, incy, layout)
                for trans in transes:
                    for diag in (NONUNIT, UNIT):
                        for incx in (1, -2):
                            _trmv(run, t, e, uplo, trans, diag, incx, layout)


def _layout_name(layout):
    return "row" if layout == ROW else "col"


def _gemm(run, t, e, m, n, k, ta, tb, layout, check, create=False):
    name = f"zwblas_{t}gemm"
    a = Stored(run, t, *((m, k) if ta == NOTRANS else (k, m)), layout)
    b = Stored(run, t, *((k, n) if tb == NOTRANS else (n, k)), layout, ro=2, co=0)
    # an offset into an empty dimension must be 0, so a created C has none
    cm = Stored(run, t, m, n, layout, ro=0, co=0 if create else 2)
    alpha, beta = scalar(run, t), scalar(run, t)
    case = f"{m}x{n}x{k} transA={ta} transB={tb} {_layout_name(layout)} check={check}" + (" created C" if create else "")
    with run.case(name, case) as c:
        given = np.zeros((0, 0), TYPES[t]) if create else cm.data
        r = run.call(name, A=a.data, B=b.data, C=given, alpha=alpha, beta=beta, M=m, N=n, K=k,
                     transA=ta, transB=tb, **a.args("a"), **b.args("b"), **cm.args("c"),
                     lda=a.ld, ldb=b.ld, ldc=cm.ld, layout=layout, checkArguments=check)
        c.status(r)
        prod = alpha * op(a.operand(), ta) @ op(b.operand(), tb)
        scale = fro(abs(alpha) * np.abs(op(a.operand(), ta)) @ np.abs(op(b.operand(), tb)))
        if create:
            # created to fit at its offsets, beta taken as 0
            got = r["C"]
            c.shape("C", got, (m + cm.ro, cm.ld))
            c.close("C", wide(got.reshape(-1)[cm.index]), prod, 2 * (k + 1) * e, scale=scale)
        else:
            want = prod + beta * cm.operand()
            scale += fro(abs(beta) * cm.operand())
            check_written(c, "C", r["C"], cm, want, 2 * (k + 1) * e, scale)


def _gemv(run, t, e, m, n, trans, incx, incy, layout):
    name = f"zwblas_{t}gemv"
    a = Stored(run, t, m, n, layout)
    nx, ny = (n, m) if trans == NOTRANS else (m, n)
    x, y = StoredVector(run, t, nx, incx), StoredVector(run, t, ny, incy, offset=2)
    alpha, beta = scalar(run, t), scalar(run, t)
    with run.case(name, f"{m}x{n} trans={trans} incx={incx} incy={incy} {_layout_name(layout)}") as c:
        r = run.call(name, A=a.data, x=x.data, y=y.data, alpha=alpha, beta=beta, trans=trans, incx=incx,
                     incy=incy, M=m, N=n, **a.args("a"), xOffset=x.offset, yOffset=y.offset, lda=a.ld,
                     layout=layout, checkArguments=1)
        c.status(r)
        want = alpha * op(a.operand(), trans) @ x.operand() + beta * y.operand()
        scale = fro(abs(alpha) * np.abs(op(a.operand(), trans)) @ np.abs(x.operand())) + fro(abs(beta) * y.operand())
        check_written(c, "y", r["y"], y, want, 2 * (max(m, n) + 1) * e, scale)


def _symm(run, t, e, kind, side, uplo, layout):
    name = f"zwblas_{t}{kind}"
    m, n = 3, 4
    na = m if side == LEFT else n
    a = Stored(run, t, na, na, layout)
    b = Stored(run, t, m, n, layout, ro=0, co=2)
    cm = Stored(run, t, m, n, layout, ro=2, co=0)
    alpha, beta = scalar(run, t), scalar(run, t)
    with run.case(name, f"side={side} uplo={uplo} {_layout_name(layout)}") as c:
        r = run.call(name, A=a.data, B=b.data, C=cm.data, alpha=alpha, beta=beta, M=m, N=n, side=side,
                     uplo=uplo, **a.args("a"), **b.args("b"), **cm.args("c"), lda=a.ld, ldb=b.ld,
                     ldc=cm.ld, layout=layout, checkArguments=1)
        c.status(r)
        s = hermitian_from(a.operand(), uplo, conj=(kind == "hemm"))
        prod = s @ b.operand() if side == LEFT else b.operand() @ s
        want = alpha * prod + beta * cm.operand()
        scale = fro(np.abs(alpha * prod)) + fro(np.abs(beta * cm.operand())) + fro(b.operand())
        check_written(c, "C", r["C"], cm, want, 2 * (na + 1) * e, scale)


def _symv(run, t, e, kind, uplo, incx, incy, layout):
    name = f"zwblas_{t}{kind}"
    n = 4
    a = Stored(run, t, n, n, layout)
    x, y = StoredVector(run, t, n, incx), StoredVector(run, t, n, incy, offset=3)
    alpha, beta = scalar(run, t), scalar(run, t)
    with run.case(name, f"uplo={uplo} incx={incx} incy={incy} {_layout_name(layout)}") as c:
        r = run.call(name, A=a.data, x=x.data, y=y.data, alpha=alpha, beta=beta, uplo=uplo, incx=incx,
                     incy=incy, N=n, **a.args("a"), xOffset=x.offset, yOffset=y.offset, lda=a.ld,
                     layout=layout, checkArguments=1)
        c.status(r)
        s = hermitian_from(a.operand(), uplo, conj=(kind == "hemv"))
        want = alpha * s @ x.operand() + beta * y.operand()
        scale = fro(abs(alpha) * np.abs(s) @ np.abs(x.operand())) + fro(abs(beta) * y.operand())
        check_written(c, "y", r["y"], y, want, 2 * (n + 1) * e, scale)


def _trmm(run, t, e, side, uplo, trans, diag, layout):
    name = f"zwblas_{t}trmm"
    m, n = 3, 4
    na = m if side == LEFT else n
    a = Stored(run, t, na, na, layout)
    b = Stored(run, t, m, n, layout, ro=2, co=1)
    alpha = scalar(run, t)
    with run.case(name, f"side={side} uplo={uplo} trans={trans} diag={diag} {_layout_name(layout)}") as c:
        r = run.call(name, A=a.data, B=b.data, alpha=alpha, M=m, N=n, side=side, uplo=uplo, transA=trans,
                     diag=diag, **a.args("a"), **b.args("b"), lda=a.ld, ldb=b.ld, layout=layout,
                     checkArguments=1)
        c.status(r)
        tri = op(triangle(a.operand(), uplo, diag), trans)
        prod = tri @ b.operand() if side == LEFT else b.operand() @ tri
        scale = fro(abs(alpha) * (np.abs(tri) @ np.abs(b.operand()) if side == LEFT
                                  else np.abs(b.operand()) @ np.abs(tri)))
        check_written(c, "B", r["B"], b, alpha * prod, 2 * (na + 1) * e, scale)


def _trmv(run, t, e, uplo, trans, diag, incx, layout):
    name = f"zwblas_{t}trmv"
    n = 4
    a = Stored(run, t, n, n, layout)
    x = StoredVector(run, t, n, incx, offset=2)
    with run.case(name, f"uplo={uplo} trans={trans} diag={diag} incx={incx} {_layout_name(layout)}") as c:
        r = run.call(name, A=a.data, x=x.data, uplo=uplo, trans=trans, diag=diag, incx=incx, N=n,
                     **a.args("a"), xOffset=x.offset, lda=a.ld, layout=layout, checkArguments=1)
        c.status(r)
        tri = op(triangle(a.operand(), uplo, diag), trans)
        check_written(c, "x", r["x"], x, tri @ x.operand(), 2 * (n + 1) * e,
                      fro(np.abs(tri) @ np.abs(x.operand())))


FAMILIES = [products, basics, norms, special, blas]
