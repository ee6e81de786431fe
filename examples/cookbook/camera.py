# What a camera sees of a glowing ball, in absolute numbers.

# %% A ball that glows at its centre, seen from 300 mm
import trel
import diffusion

model = trel.Model.ellipsoid(10, diffusion.mua, 10, 0.9, diffusion.n).isotropic()
lens = {"size": (6, 6), "pixels": (120, 120), "image_distance": 60, "focal_length": 50}
model = model.grid(azimuth=(0, 360), dazimuth=15, ddeflection=15)
model = model.camera((360, 0, 0), (-1, 0, 0), **lens)

# %% The picture: radiance of each pixel
ds = model.run(packets=20_000)
trel.plot.camera(ds, 1)

# %% The whole picture, 1/sr, and by Lambert's law
result = ds.trel.total("camera1").sel(wavelength=650)
reference = diffusion.ball_picture(10, distance=300, image_distance=60)
print(float(result.value), "+-", float(result.error), "expected:", reference)
