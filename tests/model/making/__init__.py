"""Scripts from a seed: settings, traffic and the order of calls."""
