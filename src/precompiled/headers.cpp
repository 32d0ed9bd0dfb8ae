// Holds the precompiled headers that the folders share.
