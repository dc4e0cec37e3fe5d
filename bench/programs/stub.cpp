// Stands for a generator that has nothing to do.
int main() {}
