#!/usr/bin/python3
# Writes the reference table of the translated-biweight constants used by the statistics tests:
#   tools/tbs_table.py > tests/stats/data/tbs.txt
# rho(d) = d^2 / 2 below M, M^2 / 2 + the integral from M to d of t (1 - ((t - M) / c)^2)^2 up to
# M + c, constant above. Lines:
#   "const bdp p arp M c": E rho(d) = bdp rho(inf) for d^2 ~ chi2_p, M + c = sqrt(chi2_p(1 - arp));
#     when no M in [0, L] gives that, L moves and M stays at 0 (plain biweight) or L (c = 0).
#   "inflation bdp p arp eps s2": the S-estimate of scale under a fraction eps of observations at
#     infinity, (1 - eps) E rho(d / s) + eps rho(inf) = bdp rho(inf); s2 = s^2.
# Quadrature and root finding by SciPy (Debian python3-scipy); run once and commit the output.
import numpy as np
import scipy
from numpy.polynomial import Polynomial as P
from scipy import integrate, optimize
from scipy.stats import chi2


def biweight(M, c):
    """rho as a function, and rho(inf), with the middle piece integrated as a polynomial."""
    if c > 0:
        w = (1 - ((P([0, 1]) - M) / c) ** 2) ** 2
        mid = (P([0, 1]) * w).integ(lbnd=M)
    else:
        mid = P([0])
    top = M * M / 2 + mid(M + c)

    def rho(d):
        return d * d / 2 if d < M else top if d >= M + c else M * M / 2 + mid(d)
    return rho, top


def expected(rho, p, s=1.0, M=0.0, L=0.0, top=0.0):
    """E rho(d / s) for d^2 ~ chi2_p, by adaptive quadrature in t = d^2 between the knots
    (M s)^2 and (L s)^2, and rho(inf) times the tail above."""
    f = lambda t: rho(np.sqrt(t) / s) * chi2.pdf(t, p)
    opt = dict(limit=500, epsabs=1e-16, epsrel=1e-13)
    a, b = (M * s) ** 2, (L * s) ** 2
    e = integrate.quad(f, 0, a, **opt)[0] if a > 0 else 0.0
    e += integrate.quad(f, a, b, **opt)[0] if b > a else 0.0
    return e + top * chi2.sf(b, p)


def excess(M, L, p, bdp):
    rho, top = biweight(M, L - M)
    return expected(rho, p, 1.0, M, L, top) / top - bdp


def constants(bdp, p, arp):
    L = np.sqrt(chi2.ppf(1 - arp, p))
    tol = dict(xtol=1e-15, rtol=1e-14)
    if excess(L, L, p, bdp) > 0:
        L = optimize.brentq(lambda t: excess(t, t, p, bdp), L, 8 * L, **tol)
        return L, 0.0
    if excess(0, L, p, bdp) < 0:
        L = optimize.brentq(lambda t: excess(0, t, p, bdp), L / 8, L, **tol)
        return 0.0, L
    M = optimize.brentq(lambda m: excess(m, L, p, bdp), 0, L, **tol)
    return M, L - M


print(f"# translated-biweight constants by SciPy {scipy.__version__} quadrature: tools/tbs_table.py")
rows = [(0.5, 3, 0.05), (0.5, 1, 0.1), (0.5, 2, 0.01), (0.4995, 5, 0.1), (0.5, 5, 0.01),
        (0.25, 5, 0.05), (0.5, 8, 0.1), (0.49975, 8, 0.1), (0.5, 16, 0.1), (0.3, 16, 0.001),
        (0.5, 30, 0.2), (0.1, 3, 0.1), (0.45, 50, 0.05)]
for bdp, p, arp in rows:
    M, c = constants(bdp, p, arp)
    print("const", repr(bdp), p, repr(arp), f"{M:.12f}", f"{c:.12f}")
for bdp, p, arp, eps in [(0.4995, 5, 0.1, 0.2), (0.49925, 3, 0.05, 0.1)]:
    M, c = constants(bdp, p, arp)
    rho, top = biweight(M, c)
    s = optimize.brentq(lambda s: (1 - eps) * expected(rho, p, s, M, M + c, top) + eps * top - bdp * top, 1, 4, xtol=1e-14)
    print("inflation", repr(bdp), p, repr(arp), repr(eps), f"{s * s:.10f}")
