# What a fibre collects beside the one that lights: any place and aperture from one run.

# %% A beam onto deep tissue; each packet that leaves is kept
import trel
import diffusion

model = trel.Model.layers([(40, diffusion.mua, diffusion.musr, 0, diffusion.n)], width=80)
ds = model.pencil(specular=False).run(packets=200_000, exits="all")

# %% A core of 2 mm, 5 mm away, that looks down: numerical apertures 0.22, 0.39 and 0.5
fibre = {"centre": (5, 0, 0), "normal": (0, 0, 1), "radius": 1}
for na in (0.22, 0.39, 0.5):
    result = ds.trel.collect(**fibre, na=na).sel(wavelength=650)
    print(na, float(result.value), "+-", float(result.error))

# %% Twice the absorption, from the same packets; and the mean path of the light, mm
print(ds.trel.at({"layer1": {"mua": 2 * diffusion.mua}}, {**fibre, "na": 0.5}).value.values)
print(ds.trel.partial_paths({**fibre, "na": 0.5}).value.values)

# %% Diffusion theory
reference = diffusion.spot(5, radius=1, na=0.5)
