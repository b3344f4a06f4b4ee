#!/usr/bin/python3
# Writes the chi-squared and log-gamma reference table used by the statistics tests:
#   tools/chi2_table.py > tests/stats/data/chi2.txt
# Lines: "cdf d x F", "pdf d x f" (50-digit decimal), "ppf d y x", "lgamma x v", numbers by repr (exact doubles).
# Needs SciPy (Debian python3-scipy); run once and commit the output.
from decimal import Decimal, getcontext
from math import factorial

import scipy
from scipy.special import gammaln
from scipy.stats import chi2

getcontext().prec = 50
PI = Decimal("3.14159265358979323846264338327950288419716939937510")


def pdf(x, d):
    """Density in 50-digit decimal arithmetic (SciPy's own is off by up to about 1e-13 for large
    d); Gamma(d / 2) exactly, by the factorial forms for integer and half-integer arguments."""
    x = Decimal(x)
    if d % 2 == 0:
        gamma = Decimal(factorial(d // 2 - 1))
    else:
        k = d // 2
        gamma = Decimal(factorial(2 * k)) / (Decimal(4) ** k * factorial(k)) * PI.sqrt()
    a = Decimal(d) / 2
    return float(((a - 1) * (x / 2).ln() - x / 2).exp() / (2 * gamma))


print(f"# chi2.cdf, chi2.ppf, gammaln from SciPy {scipy.__version__}; pdf in 50-digit decimals")
ys = [1e-12, 1e-6, 0.01, 0.3, 0.5, 0.9, 0.999, 1 - 1e-9]
for d in [1, 2, 3, 7, 30, 200]:
    for y in ys:
        x = float(chi2.ppf(y, d))
        print("ppf", d, repr(y), repr(x))
        print("cdf", d, repr(x), repr(float(chi2.cdf(x, d))))
        print("pdf", d, repr(x), repr(pdf(x, d)))
    for x in [1e-3, 0.75, d + 0.5, 4.0 * d + 20]:
        print("cdf", d, repr(x), repr(float(chi2.cdf(x, d))))
        print("pdf", d, repr(x), repr(pdf(x, d)))
for x in [1e-8, 0.3, 0.5, 0.9, 1.1, 1.5, 1.9, 2.1, 2.5, 3.7, 10.25, 100.5, 1e4, 1e10]:
    print("lgamma", repr(x), repr(float(gammaln(x))))
