#include "lum/platform/InterfaceFile.h"

bool MakeDescribedInterface(NSBundle *, NSString *, NSWindowController *) {
    return false;
}
