// A library that no headset has.
extern "C" __attribute__((visibility("default"))) void NimbStranger();

void NimbStranger() {}
