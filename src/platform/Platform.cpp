// Toolkit adapters.
