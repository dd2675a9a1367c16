#include <fuzzywindow/LumFuzzyWindow.h>

int main() {
    return createLumFuzzyWindow(nullptr) == nullptr ? 0 : 1; // there is no manager without a delegate
}
