/* An application that does nothing until it is killed, but not for ever. */
#include <unistd.h>

int main(void) {
    alarm(120);
    for (;;) {
        pause();
    }
}
