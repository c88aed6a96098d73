"""Leaves in the middle, as a program with a command line does."""
import sys

print('disk full, giving up')
sys.exit(3)
