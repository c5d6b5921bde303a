"""A plain X window that stands in for the browser's. Gone with the process."""
import ctypes
import ctypes.util


def open_window(width, height):
    """Its number."""
    x11 = ctypes.CDLL(ctypes.util.find_library("X11") or "libX11.so.6")
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XDefaultRootWindow.restype = x11.XCreateSimpleWindow.restype = ctypes.c_ulong
    x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
    x11.XCreateSimpleWindow.argtypes = [ctypes.c_void_p, ctypes.c_ulong] + [ctypes.c_int] * 2 + [ctypes.c_uint] * 3 + [ctypes.c_ulong] * 2
    x11.XMapWindow.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
    x11.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
    display = x11.XOpenDisplay(None)
    if not display:
        raise OSError("no X server at $DISPLAY")
    window = x11.XCreateSimpleWindow(display, x11.XDefaultRootWindow(display), 0, 0, width, height, 0, 0, 0)
    x11.XMapWindow(display, window)
    x11.XSync(display, 0)
    return window
