# Will the instrument see a dye, 10 mm deep?

# %% Lit at 670 nm, a ball of dye gives off 0.3 of what it takes at 710 nm
import trel
import diffusion

tissue = {"mua": (0.01, 0.008), "mus": (10, 9), "g": 0.9, "n": 1.4}
model = trel.Model.box((60, 60, 40), center=(0, 0, 20), wavelengths=(670, 710), **tissue)
model = model.pencil(specular=False, at=670).grid(dx=1, dy=1, dz=1)
dye = {"excitation": 670, "emission": 710, "quantum_yield": 0.3, "absorption": 0.002}
model = model.fluorophore((0, 0, 10), radius=2, **dye)

# %% The glow at the lit face
ds = model.run(packets=20_000)
trel.plot.surface(ds, "bottom", wavelength=710)

# %% What was emitted, as a share of the lamp's energy
result = ds.trel.ledger().sel(ledger_line="launched", wavelength=710)
reference = diffusion.emission(10, radius=2, absorption=0.002, quantum_yield=0.3)
print(float(result.value), "+-", float(result.error), "diffusion:", reference)
