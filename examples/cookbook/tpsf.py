# The pulse that comes back 20 mm from a beam: scattering tells when, absorption how fast it falls.

# %% Deep tissue, light back within 4 ns in gates of 50 ps, rings of 4 mm
import trel
import diffusion

model = trel.Model.layers([(60, diffusion.mua, diffusion.musr, 0, diffusion.n)], width=120)
model = model.pencil(specular=False).gates(0, 4000, 50).grid(radius=(2, 30), dr=4)

# %% The ring from 18 to 22 mm
ds = model.run(packets=500_000)
trel.plot.time_curve(ds.trel.tpsf(20), log=True)

# %% Its energy, 1/mm^2, beside that of diffusion theory
result = ds.trel.Rd(20).sel(wavelength=650).squeeze()
reference = diffusion.ring(18, 22)
print(float(result.value), "+-", float(result.error), "diffusion:", reference)
