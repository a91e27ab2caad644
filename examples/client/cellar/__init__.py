"""Python client for the cellar key-value store."""

from cellar.client import Client, CellarError

__all__ = ["Client", "CellarError"]
