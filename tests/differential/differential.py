#!/usr/bin/python3
"""Differential test: every numerical export against NumPy and SciPy.

    differential.py --lib-dir build/lib --cli build/bin/tarnx [--self-check] [--verbose]

The library is loaded into this process through ctypes beside the host
stand-in zwrt.so, and each export is called with random inputs (fixed seed)
of several shapes in all four element types and with every value of its
selectors. Results are compared with NumPy/SciPy where the answer is unique
and through invariants (A = Q R, A v = λ v, X² = A, ...) where it is a matter
of convention. Prints one line "differential: N passed, M failed" and exits 1
when a case failed.

--self-check (or TARNX_DIFF_SELF_CHECK=1) moves every floating-point output
by 1e4 ε before it is compared; the run must then fail, which shows that the
tolerances are tight enough to see a wrong answer. A self-check that cannot
run exits 0, so that it is not taken for the failure it is meant to produce.
"""
import argparse
import os
import sys
import time
import traceback

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

# Cases the library is known to get wrong, (export, case id) -> what is wrong.
# Each one still runs: while it fails it counts as expected, and once it
# passes the run fails with XPASS so that the entry is taken out with the fix.
KNOWN_FAULTS = {}

SEED = 20240611
SELF_CHECK_FACTOR = 1e4


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--lib-dir", required=True, help="folder with TARNX_LINALG.so and zwrt.so")
    parser.add_argument("--cli", required=True, help="the command-line host, for `tarnx list`")
    parser.add_argument("--self-check", action="store_true")
    parser.add_argument("--verbose", action="store_true")
    parser.add_argument("--only", default="", help="run only the families whose name contains this")
    opts = parser.parse_args()
    self_check = opts.self_check or os.environ.get("TARNX_DIFF_SELF_CHECK", "") not in ("", "0")
    try:
        return run_all(opts, self_check)
    except Exception:
        traceback.print_exc()
        if self_check:
            print("differential self-check: could not run, so it proves nothing")
            return 0
        return 2


def run_all(opts, self_check):
    import cases_elementary
    import cases_factor
    import cases_matfun
    import cases_solve
    from framework import Run
    from tarnx_ffi import Library, Perturbation

    started = time.monotonic()
    lib = Library(opts.lib_dir, opts.cli, Perturbation(SELF_CHECK_FACTOR) if self_check else None)
    run = Run(lib, SEED, {} if self_check else KNOWN_FAULTS, verbose=opts.verbose)
    families = (cases_elementary.FAMILIES + cases_factor.FAMILIES + cases_solve.FAMILIES
                + cases_matfun.FAMILIES)
    for family in families:
        if opts.only in family.__name__:
            family(run)

    missed = sorted(set(lib.signatures) - set(lib.calls))
    if not opts.only:
        for name in missed:
            run.failed.append(((name, "coverage"), ["export never called"]))
            print(f"FAIL {name}: never called by the differential test")
    stale = sorted(set(run.known) - run.seen_known)
    for key in stale:
        print(f"NOTE KNOWN_FAULTS entry {key} names no case that ran")

    elapsed = time.monotonic() - started
    failed = len(run.failed) + len(run.unexpected_pass)
    extra = f", {len(run.expected)} expected failures" if run.expected else ""
    print(f"{len(lib.calls)} of {len(lib.signatures)} exports called, {sum(lib.calls.values())} calls, "
          f"{elapsed:.1f} s{extra}" + (" (self-check: outputs moved by 1e4 eps)" if self_check else ""))
    for (export, case_id), problems in run.expected:
        print(f"XFAIL {export} [{case_id}]: {KNOWN_FAULTS[(export, case_id)]}")
    print(f"differential: {run.passed} passed, {failed} failed")
    if self_check:
        total = run.passed + failed
        if total < 1000:
            print(f"differential self-check: only {total} cases ran, too few to prove anything")
            return 0
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
