"""What ./dev package is made of; ../package.py puts it together."""
