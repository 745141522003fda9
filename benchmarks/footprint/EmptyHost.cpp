// A program that does nothing, for comparison with the minimal host.
int main() { }
