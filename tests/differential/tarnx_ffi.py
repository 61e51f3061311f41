"""Calls the library's exports from Python, with zwrt.so as the host.

The argument list of every export comes from the export table itself, as the
command-line host prints it (`tarnx list`): one line per export naming each
argument, its role and its kind, for instance

    dLinEqH(A: in float64 matrix, B: in float64 vector, matrixType: value int32,
            X: out float64 vector, workspace: scratch float64 vector, ...)

so that no signature is written here by hand and a new export is callable the
day it enters the table. Arrays cross as host handles made by zwrt.so's
AZNewHandle and laid out as the host lays them out: int32 sizes, then the
elements row-major, a vector's elements at block + 8 for 8-byte-aligned
element types and at block + 4 otherwise, a matrix's at block + 8.
"""
import ctypes
import os
import re
import subprocess

import numpy as np

DTYPES = {
    "float32": np.float32,
    "float64": np.float64,
    "complex64": np.complex64,
    "complex128": np.complex128,
    "int32": np.int32,
}

CTYPES = {
    "float32": ctypes.c_float,
    "float64": ctypes.c_double,
    "complex64": ctypes.c_float * 2,
    "complex128": ctypes.c_double * 2,
    "int32": ctypes.c_int32,
}

# Roles whose arrays or scalars the library writes and the caller reads back.
READ_BACK = ("out", "inout", "result", "update")

_SIGNATURE = re.compile(r"^(\w+)\((.*)\)$")
# An input's default, when `tarnx list` shows one (" = 0"), is not needed here.
_ARGUMENT = re.compile(r"^(\w+): (\w+) (\w+)(?: (matrix|vector))?(?: = \S+)?$")


class Arg:
    def __init__(self, name, role, kind, shape):
        self.name, self.role, self.kind, self.shape = name, role, kind, shape

    def __repr__(self):
        return f"{self.name}: {self.role} {self.kind} {self.shape or ''}".strip()


def parse_signatures(text):
    """Export name -> list of Arg, from `tarnx list` output."""
    table = {}
    for line in text.splitlines():
        line = line.strip()
        if not line:
            continue
        m = _SIGNATURE.match(line)
        if not m:
            raise ValueError(f"unreadable signature line: {line!r}")
        args = []
        for part in m.group(2).split(", ") if m.group(2) else []:
            a = _ARGUMENT.match(part)
            if not a:
                raise ValueError(f"unreadable argument {part!r} in {m.group(1)}")
            args.append(Arg(*a.groups()))
        table[m.group(1)] = args
    return table


def vector_offset(dtype):
    return 8 if np.dtype(dtype).itemsize >= 8 and np.dtype(dtype) != np.complex64 else 4


class Perturbation:
    """The self-check: every floating-point value the library hands back is
    moved by `factor` units of its type's epsilon, at the scale of the largest
    magnitude in its array, with signs that vary along the array. A comparison
    that still passes after that could not have told a wrong answer from a
    right one."""

    def __init__(self, factor):
        self.factor = factor

    def apply(self, values):
        values = np.array(values, copy=True)
        if values.dtype.kind not in "fc" or values.size == 0:
            return values
        eps = np.finfo(values.dtype).eps
        finite = np.isfinite(values)
        scale = np.max(np.abs(values[finite])) if finite.any() else 0.0
        if scale == 0.0:
            scale = 1.0
        flat = values.reshape(-1)
        signs = np.where(np.arange(flat.size) % 3 == 1, -1.0, 1.0)
        step = self.factor * eps * scale * signs
        if values.dtype.kind == "c":
            step = step * (1 + 0.5j)
        moved = np.where(finite.reshape(-1), flat + step.astype(flat.dtype), flat)
        return moved.reshape(values.shape).astype(values.dtype)


class Result(dict):
    """The status and every array or scalar the export wrote, by argument name."""

    def __init__(self, status, values):
        super().__init__(values)
        self.status = status


class Library:
    def __init__(self, lib_dir, cli, perturbation=None):
        # The library looks for its host among the objects already loaded, so
        # the host stand-in goes in first and visibly to everything after it.
        self.host = ctypes.CDLL(os.path.join(lib_dir, "zwrt.so"), mode=ctypes.RTLD_GLOBAL)
        self.lib = ctypes.CDLL(os.path.join(lib_dir, "TARNX_LINALG.so"), mode=ctypes.RTLD_LOCAL)
        self.host.AZNewHandle.restype = ctypes.c_void_p
        self.host.AZNewHandle.argtypes = [ctypes.c_size_t]
        self.host.AZDisposeHandle.restype = ctypes.c_int32
        self.host.AZDisposeHandle.argtypes = [ctypes.c_void_p]
        listing = subprocess.run([cli, "list"], check=True, capture_output=True, text=True).stdout
        self.signatures = parse_signatures(listing)
        self.perturbation = perturbation
        self.calls = {}

    # ---- handles ---------------------------------------------------------------
    def _new(self, nbytes):
        h = self.host.AZNewHandle(max(nbytes, 8))
        if not h:
            raise MemoryError("AZNewHandle failed")
        return h

    @staticmethod
    def _block(h):
        return ctypes.cast(h, ctypes.POINTER(ctypes.c_void_p))[0]

    def make(self, values, dtype, shape):
        values = np.ascontiguousarray(np.asarray(values, dtype=dtype))
        if shape == "matrix":
            if values.ndim != 2:
                raise ValueError(f"matrix argument needs 2 dimensions, got {values.shape}")
            offset, dims = 8, values.shape
        else:
            if values.ndim != 1:
                raise ValueError(f"vector argument needs 1 dimension, got {values.shape}")
            offset, dims = vector_offset(dtype), values.shape
        h = self._new(offset + values.nbytes)
        block = self._block(h)
        sizes = (ctypes.c_int32 * len(dims)).from_address(block)
        for i, d in enumerate(dims):
            sizes[i] = d
        if values.nbytes:
            ctypes.memmove(block + offset, values.ctypes.data, values.nbytes)
        return h

    def read(self, h, dtype, shape):
        block = self._block(h)
        if shape == "matrix":
            r, c = (ctypes.c_int32 * 2).from_address(block)
            offset, dims = 8, (r, c)
        else:
            (n,) = (ctypes.c_int32 * 1).from_address(block)
            offset, dims = vector_offset(dtype), (n,)
        if min(dims) < 0:
            raise ValueError(f"handle with a negative size {dims}")
        count = int(np.prod(dims))
        nbytes = count * np.dtype(dtype).itemsize
        data = (ctypes.c_char * nbytes).from_address(block + offset) if nbytes else b""
        return np.frombuffer(bytes(data), dtype=dtype).reshape(dims).copy()

    # ---- calls -----------------------------------------------------------------
    def call(self, name, **given):
        """Calls export `name`. Arrays and scalars are passed by argument name;
        outputs and scratch handles are made empty when not given, and an
        input the element type never reads (the real workspace of a real
        Schur, for one) is an empty handle too. Returns a Result."""
        signature = self.signatures[name]
        unknown = set(given) - {a.name for a in signature}
        if unknown:
            raise TypeError(f"{name} has no argument {sorted(unknown)}")
        fn = getattr(self.lib, name)
        fn.restype = ctypes.c_int32
        cargs, handles, scalars = [], [], {}
        try:
            for a in signature:
                dtype = DTYPES[a.kind]
                if a.shape is not None:
                    value = given.get(a.name)
                    if value is None:
                        value = np.zeros((0, 0) if a.shape == "matrix" else (0,), dtype)
                    h = self.make(value, dtype, a.shape)
                    handles.append((a, h))
                    cargs.append(ctypes.c_void_p(h))
                elif a.role == "value":
                    if a.name not in given:
                        raise TypeError(f"{name}: value argument {a.name} not given")
                    cargs.append(CTYPES[a.kind](given[a.name]) if a.kind in ("float32", "float64", "int32")
                                 else _complex(CTYPES[a.kind], given[a.name]))
                else:  # ref, result, update: a pointer to one scalar
                    if a.role == "result":
                        cell = CTYPES[a.kind]()
                    elif a.name not in given:
                        raise TypeError(f"{name}: {a.role} argument {a.name} not given")
                    elif a.kind.startswith("complex"):
                        cell = _complex(CTYPES[a.kind], given[a.name])
                    else:
                        cell = CTYPES[a.kind](given[a.name])
                    scalars[a.name] = (a, cell)
                    cargs.append(ctypes.byref(cell))
            status = fn(*cargs)
            self.calls[name] = self.calls.get(name, 0) + 1
            values = {}
            for a, h in handles:
                if a.role in READ_BACK:
                    values[a.name] = self.read(h, DTYPES[a.kind], a.shape)
            for a, cell in scalars.values():
                if a.role in READ_BACK:
                    if a.kind.startswith("complex"):
                        values[a.name] = DTYPES[a.kind](complex(cell[0], cell[1]))
                    else:
                        values[a.name] = DTYPES[a.kind](cell.value)
            if self.perturbation is not None:
                for k, v in values.items():
                    if isinstance(v, np.ndarray):
                        values[k] = self.perturbation.apply(v)
                    elif np.asarray(v).dtype.kind in "fc":
                        values[k] = self.perturbation.apply(np.asarray(v)).item()
            return Result(int(status), values)
        finally:
            for _, h in handles:
                self.host.AZDisposeHandle(ctypes.c_void_p(h))


def _complex(ctype, value):
    value = complex(value)
    return ctype(value.real, value.imag)
