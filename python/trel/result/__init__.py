"""Results: datasets with axes, units and errors, and what is derived from them."""
