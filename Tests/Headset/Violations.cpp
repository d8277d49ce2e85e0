// Part of a plug-in that does what the one for the headset must not do.
#define NIMB_VISIBLE __attribute__((visibility("default")))

extern "C" {
NIMB_VISIBLE void NimbStranger();
NIMB_VISIBLE const char* NimbUnexpectedExport();
}

// An address in code that the loader would have to write, in a segment that stays writable.
asm(".section .violation,\"awx\"\n.xword NimbStranger\n.text\n.balign 8\n.xword NimbStranger\n");

const char* NimbUnexpectedExport() {
    NimbStranger();
    return NIMB_BUILD_FOLDER;
}
