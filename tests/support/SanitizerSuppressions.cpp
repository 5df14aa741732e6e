// What the sanitizers say about libraries that are not built with them, is left out of the
// reports of a program that links this file.

/// The HEVC encoder loses about a hundred bytes for each row of blocks when it is closed.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libx265.so\n";
}

/// Their threads meet at atomic counters that ThreadSanitizer can't see, so that it takes memory which they
/// allocate on one thread and free on another for a race. The same goes for Qt's futures, by that name alone:
/// a whole recording runs inside calls of Qt's event loop. PipeWire asks for the user's name in every
/// connection that is made, which isn't safe on two threads; only tests make several. Its modules may be
/// loaded to where another thread had memory of its own before, by a loader that ThreadSanitizer doesn't see.
/// An exception that went from one thread to another is freed by the last of them; the standard library
/// counts.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:libx265.so\n"
           "race:libx264.so\n"
           "race:libavcodec.so\n"
           "race:libavformat.so\n"
           "race:libavutil.so\n"
           "race:libswscale.so\n"
           "race:pw_get_user_name\n"
           "race:PipeWireHub::PipeWireHub(std::string)::<lambda()>\n"
           "race:std::__exception_ptr::exception_ptr::_M_release\n"
           "race:std::runtime_error::~runtime_error\n"
           "race:varnelle::Error::~Error\n"
           "race:QFutureInterfaceBase::~QFutureInterfaceBase\n";
}
