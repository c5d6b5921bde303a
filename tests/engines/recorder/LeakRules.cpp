// What AddressSanitizer's search for leaks leaves out in these tests. GLib, which GStreamer's client here brings along,
// drops its first table of names on purpose when it grows, and its frames name no function that a rule could.
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libglib-2.0\n";
}
