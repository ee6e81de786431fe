"""Pictures of models and results."""
