# How much light comes back from tissue, over its absorption and scattering: a series in one table.

# %% A beam onto deep tissue of the index 1.5, and three values of each coefficient (1/mm)
import trel

model = trel.Model.layers([(20, 1, 9, 0, 1.5)], width=40, names=["tissue"]).pencil()
values = {"tissue.mua": [0.5, 1, 2], "tissue.mus": [4.5, 9, 18]}

# %% Nine runs, on all cores; a second call goes on in the folder, and computes nothing again
table = trel.sweep(model, values, "series", ["Rd", "absorption"], packets=100_000)
print(table.Rd.squeeze().to_pandas())

# %% The share depends on mus / mua alone: three points of the table are one tissue
table.Rd.squeeze().plot.line(x="tissue.mua", xscale="log")
point = table.sel({"tissue.mua": 1, "tissue.mus": 9, "wavelength": 650})
result = point[["Rd", "Rd_error"]].rename(Rd="value", Rd_error="error")

# %% R. Giovanelli, Optica Acta 2 (1955) 153; his value holds the 4 % that the surface reflects
reference = 0.26 - 0.04
