"""What all tests share: no screen, and the same examples in every run."""

import matplotlib
from hypothesis import settings

matplotlib.use("Agg")
settings.register_profile("trel", derandomize=True, deadline=None, database=None)
settings.load_profile("trel")
