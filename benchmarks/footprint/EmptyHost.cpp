// What the minimal host is compared with: a program that does nothing.
int main() { }
