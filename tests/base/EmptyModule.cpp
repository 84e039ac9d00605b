// A DLL with nothing in it, to be found and loaded.
