# How far the light of a fibre's tip reaches in an organ, whose surface is a binary STL file.

# %% The surface in m, as from a scanner; in mm, about its middle, as trelrun reads it: organ.off
from pathlib import Path
import trel
import diffusion

mesh = Path(__file__).with_name("organ.stl")
print(trel.mesh.convert(mesh, "organ.off", scale=1000, center=(0, 0, 0)))

# %% A strongly absorbing organ that is lit from within, in layers of 1 mm
tissue = {"mua": 0.05, "mus": 15, "g": 0.9, "n": 1.4}
model = trel.Model.surface("organ.off", **tissue).isotropic((-5, 0, 0))
model.plot("z")

# %% What a layer takes, across all of it, about 6 mm from the tip; and diffusion in wide tissue
ds = model.run(packets=50_000)
trel.plot.profile(ds.trel.profile("x"), log=True)
result = ds.trel.profile("x").sel(x=1, method="nearest").sel(wavelength=650)
reference = diffusion.layer(result.x + 5, 0.05, 1.5)
print(float(result.value), "+-", float(result.error), "diffusion:", reference)
