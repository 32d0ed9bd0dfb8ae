// Holds the precompiled headers that the test programs share.
int main() { return 0; }
