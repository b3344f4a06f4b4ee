#!/usr/bin/python3
"""Reference values for the spectral correlation repair, by numpy's symmetric eigensolver.

Writes tests/stats/data/repair.txt: for each case, p, then the input and the repaired matrix,
each as its lower triangle by rows (%.17g). Run from the repository root."""
import numpy as np


def repair(c):
    w, v = np.linalg.eigh(c)
    b = v * np.sqrt(np.maximum(w, 0))
    b /= np.linalg.norm(b, axis=1)[:, None]
    return b @ b.T


def cases():
    yield np.array([[1, 0.9, 0.7], [0.9, 1, -0.4], [0.7, -0.4, 1]])
    rng = np.random.default_rng(28)
    a = rng.uniform(-1, 1, (50, 50))
    c = (a + a.T) / 2
    np.fill_diagonal(c, 1)
    yield c


with open("tests/stats/data/repair.txt", "w") as f:
    for c in cases():
        p = c.shape[0]
        assert np.linalg.eigvalsh(c)[0] < 0
        lower = lambda m: [m[i, j] for i in range(p) for j in range(i + 1)]
        f.write("%d\n%s\n%s\n" % (p, " ".join("%.17g" % x for x in lower(c)),
                                  " ".join("%.17g" % x for x in lower(repair(c)))))
