"""Mesh tools for finite elements."""
