// Nothing of its own: the headers that are compiled with it are what it is for.
