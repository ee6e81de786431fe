# Absorption and scattering of tissue, fitted to the light that comes back at 2 to 10 mm.

# %% What was measured: here simulated, with a truth (1/mm) that the fit is to find
import numpy as np
import trel
from scipy.optimize import curve_fit

model = trel.Model.layers([(20, 0.01, 1, 0, 1.4)], width=40, names=["tissue"]).pencil().grid(dr=2)
truth = {"tissue.mua": 0.012, "tissue.mus": 1.1}
measured = model.run(packets=200_000, settings=truth).trel.Rd(slice(2, 10)).squeeze()

# %% A series around it, interpolated; with common seeds it is smooth
values = {"tissue.mua": [0.006, 0.01, 0.015, 0.02], "tissue.mus": [0.8, 1, 1.25, 1.5]}
table = trel.sweep(model, values, "fit", ["Rd(r)"], packets=200_000, common_seeds=True)
look = trel.lookup(table.sel(r=measured.r, wavelength=650))

# %% The fit, by the statistical errors of both
predict = lambda _, mua, mus: look(**{"tissue.mua": mua, "tissue.mus": mus}).Rd_r.values
sigma = np.hypot(measured.error, look(**truth).Rd_r_error)
found, spread = curve_fit(predict, measured.r, measured.value, (0.01, 1), sigma, True)
print(found, "+-", np.sqrt(np.diag(spread)))
result = np.rec.array((found[0], spread[0, 0] ** 0.5), [("value", float), ("error", float)])
reference = truth["tissue.mua"]
