"""A corpus of captures, judged on as many machines as there are: see ../replay-corpus."""
