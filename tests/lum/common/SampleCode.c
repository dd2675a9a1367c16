/* The code of a bundle that a test loads. */
__attribute__((visibility("default"))) int SampleAnswer(void);

int SampleAnswer(void) {
    return 42;
}
