/* The code of every sample library: one function, of the name that the build gives it. */
__attribute__((visibility("default"))) int DEMO_SYMBOL(void);

int DEMO_SYMBOL(void) {
    return 1;
}
