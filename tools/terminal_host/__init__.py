"""Runs one conversion as the desktop host does; see README.md beside this file."""
