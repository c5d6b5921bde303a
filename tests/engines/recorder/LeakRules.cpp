// What AddressSanitizer's search for leaks leaves out in these tests. GLib, which GStreamer's client here brings along,
// drops its first table of names on purpose when it grows, and its frames name no function that a rule could.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();

const char* __lsan_default_suppressions()
{
    return "leak:libglib-2.0\n";
}
