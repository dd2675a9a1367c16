/* The code of a bundle. */
int probe(void);

__attribute__((visibility("default"))) int probe(void) {
    return 42;
}
