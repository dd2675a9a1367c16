/* An application that does nothing until it is killed or two minutes are over. */
#include <unistd.h>

int main(void) {
    alarm(120);
    for (;;) {
        pause();
    }
}
