# How much of the light of glowing cells leaves an animal, at two wavelengths.

# %% A model from a file: organs, and a tumour in the liver that glows
from pathlib import Path
import trel

model = trel.Model.read(Path(__file__).with_name("mouse.trl"))
model.plot("y", -4.5)

# %% What became of the light
ds = model.run(packets=20_000)
trel.plot.ledger(ds, wavelength=680)
trel.plot.slice(ds, "absorption", normal="y", at=-4.5, wavelength=680, log=True)

# %% The red light that left: by the classic rules, 8 runs of 20,000 packets
result = ds.trel.ledger().sel(ledger_line="escaped", wavelength=680)
reference = 0.2508
print(float(result.value), "+-", float(result.error))
