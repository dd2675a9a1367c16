// What the INI reader keeps of the file that it read last.
#pragma once

// Frees it; the next call of the reader reads its file again. For a caller that has got all that it wanted from a file.
void ForgetProfile();
