// Nothing but the cost of starting a program that is linked with the same libraries.
int main() {}
