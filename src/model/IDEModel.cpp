// Model layer.
