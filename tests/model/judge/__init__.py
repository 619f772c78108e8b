"""The contract of tarn.dll once more, as a plain and slow program: a module for each subject, Library for the whole."""
