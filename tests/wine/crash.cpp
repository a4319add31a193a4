// A program that crashes and says nothing.
#include <windows.h>

int main() { RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr); }
