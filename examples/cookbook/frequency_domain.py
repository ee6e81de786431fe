# Light that is modulated at 100 MHz, behind 20 mm: how much of it is left, how far it lags.

# %% A slab, 80 mm wide
import trel
import diffusion

model = trel.Model.box((80, 80, 20), 0.01, 10, 0.9, 1.4, center=(0, 0, 10))
model = model.pencil().frequency(100).grid(dx=2, dy=2, dz=2)

# %% Amplitude, and phase in degrees, of all that leaves behind
ds = model.run(packets=100_000)
trel.plot.phase(ds, "transmittance_top_fd_phase")
behind = ds.trel.frequency(face="top").sel(wavelength=650)

# %% Diffusion theory
result = behind.rename(phase="value", phase_error="error")
reference = diffusion.slab_phase(20, 100, width=80)
print(float(result.value), "+-", float(result.error), "diffusion:", reference)
