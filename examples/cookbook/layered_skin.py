# How much light layers of skin take, and how much comes back.

# %% The model: thickness (mm), mua, mus (1/mm), g, n of each layer; a thin beam onto z = 0
import trel

layers = [(1, 0.1, 10, 0.9, 1.37), (1, 0.1, 1, 0, 1.37), (2, 0.2, 1, 0.7, 1.37)]
model = trel.Model.layers(layers, width=40).pencil()
model.plot()

# %% The run, and what leaves by the lit face, with the standard error
ds = model.run(packets=200_000)
result = ds.trel.Rd().sel(wavelength=650)
print(float(result.value), "+-", float(result.error))

# %% By radius and by depth
trel.plot.profile(ds.trel.Rd(slice(0, 10)), log=True)
trel.plot.profile(ds.trel.profile("z"))

# %% L. Wang, S. Jacques, L. Zheng, Comput. Methods Programs Biomed. 47 (1995) 131
reference = 0.2375
