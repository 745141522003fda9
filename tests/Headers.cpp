// Nothing of its own: it carries the headers that are compiled ahead for all tests.
