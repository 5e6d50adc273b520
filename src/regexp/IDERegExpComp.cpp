// Regular expressions.
