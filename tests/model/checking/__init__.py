"""Both sides of a script, and what differs between them."""
