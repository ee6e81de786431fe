# What grey matter takes of the light of glowing cells in a brain, from a mesh of Gmsh.

# %% Gmsh's mesh in cm, of five regions that have names, as trelrun reads it: brain.am, in mm
from pathlib import Path
import trel
import diffusion

regions = {"white": 1, "grey": 2, "liquor": 3, "skull": 4, "scalp": 5}
mesh = Path(__file__).with_name("brain.msh.gz")
print(trel.mesh.convert(mesh, "brain.am", scale=10, regions=regions))

# %% mua, mus (1/mm), g, n at 800 nm: E. Okada, D. Delpy, Appl. Opt. 42 (2003) 2906
tissues = [(0.014, 9.1, 0, 1.4), (0.036, 2.2, 0, 1.4), (0.004, 0.25, 0, 1.4),
           (0.016, 1.6, 0, 1.4), (0.018, 1.9, 0, 1.4)]
model = trel.Model.tetrahedra("brain.am", tissues, names=list(regions), wavelengths=800)

# %% The grey matter's share; diffusion theory in balls of the volumes that the mesh has
ds = model.isotropic(radius=12).run(packets=20_000)
trel.plot.ledger(ds)
result = ds.trel.ledger().sel(ledger_line="by tissue 2", wavelength=800)
reference = diffusion.shells((9.93, 12.946, 13.949, 15.956, 17.959), tissues, glow=12)[1]
print(float(result.value), "+-", float(result.error), "diffusion:", reference)
