/// Stands for a Windows Installer that is too old: a msi.dll with one of the two functions that the
/// program needs, and without the other.
extern "C" __declspec(dllexport) unsigned SALTROVE_PRESENT_FUNCTION() {
    return 259;
}
