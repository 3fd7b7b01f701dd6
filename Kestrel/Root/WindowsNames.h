// Removes the macros of <windows.h> that would rename operations of this library, and replaces them
// by inline functions of the same names, so that a host's Win32 calls still compile and select the
// wide or the narrow form by UNICODE as before.
//
// Every header that declares such a name includes this one first, which suffices if <windows.h>
// came before. A host that includes <windows.h> after our headers includes this one again after it.
// So it has no include guard: each inclusion removes the macros that exist, and each function is
// defined when its macro is found for the first time.

#if defined(_WIN32)

#if defined(UNICODE)
#define KESTREL_WINDOWS_CALL(name) ::name##W
#else
#define KESTREL_WINDOWS_CALL(name) ::name##A
#endif

#if defined(CreateFile)
#undef CreateFile
#if !defined(KESTREL_WINDOWS_CREATE_FILE)
#define KESTREL_WINDOWS_CREATE_FILE
inline HANDLE CreateFile(LPCTSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                         DWORD disposition, DWORD attributes, HANDLE like) {
    return KESTREL_WINDOWS_CALL(CreateFile)(path, access, share, security, disposition, attributes,
                                            like);
}
#endif
#endif

#if defined(DeleteFile)
#undef DeleteFile
#if !defined(KESTREL_WINDOWS_DELETE_FILE)
#define KESTREL_WINDOWS_DELETE_FILE
inline BOOL DeleteFile(LPCTSTR path) {
    return KESTREL_WINDOWS_CALL(DeleteFile)(path);
}
#endif
#endif

#if defined(CopyFile)
#undef CopyFile
#if !defined(KESTREL_WINDOWS_COPY_FILE)
#define KESTREL_WINDOWS_COPY_FILE
inline BOOL CopyFile(LPCTSTR from, LPCTSTR to, BOOL failIfExists) {
    return KESTREL_WINDOWS_CALL(CopyFile)(from, to, failIfExists);
}
#endif
#endif

#if defined(MoveFile)
#undef MoveFile
#if !defined(KESTREL_WINDOWS_MOVE_FILE)
#define KESTREL_WINDOWS_MOVE_FILE
inline BOOL MoveFile(LPCTSTR from, LPCTSTR to) {
    return KESTREL_WINDOWS_CALL(MoveFile)(from, to);
}
#endif
#endif

#if defined(CreateDirectory)
#undef CreateDirectory
#if !defined(KESTREL_WINDOWS_CREATE_DIRECTORY)
#define KESTREL_WINDOWS_CREATE_DIRECTORY
inline BOOL CreateDirectory(LPCTSTR path, LPSECURITY_ATTRIBUTES security) {
    return KESTREL_WINDOWS_CALL(CreateDirectory)(path, security);
}
#endif
#endif

#if defined(RemoveDirectory)
#undef RemoveDirectory
#if !defined(KESTREL_WINDOWS_REMOVE_DIRECTORY)
#define KESTREL_WINDOWS_REMOVE_DIRECTORY
inline BOOL RemoveDirectory(LPCTSTR path) {
    return KESTREL_WINDOWS_CALL(RemoveDirectory)(path);
}
#endif
#endif

#if defined(GetCurrentDirectory)
#undef GetCurrentDirectory
#if !defined(KESTREL_WINDOWS_GET_CURRENT_DIRECTORY)
#define KESTREL_WINDOWS_GET_CURRENT_DIRECTORY
inline DWORD GetCurrentDirectory(DWORD size, LPTSTR path) {
    return KESTREL_WINDOWS_CALL(GetCurrentDirectory)(size, path);
}
#endif
#endif

#if defined(GetTempPath)
#undef GetTempPath
#if !defined(KESTREL_WINDOWS_GET_TEMP_PATH)
#define KESTREL_WINDOWS_GET_TEMP_PATH
inline DWORD GetTempPath(DWORD size, LPTSTR path) {
    return KESTREL_WINDOWS_CALL(GetTempPath)(size, path);
}
#endif
#endif

#if defined(GetUserName)
#undef GetUserName
#if !defined(KESTREL_WINDOWS_GET_USER_NAME)
#define KESTREL_WINDOWS_GET_USER_NAME
inline BOOL GetUserName(LPTSTR name, LPDWORD size) {
    return KESTREL_WINDOWS_CALL(GetUserName)(name, size);
}
#endif
#endif

// Obsolete and constant in <windows.h>, but its macro has an argument like ours.
#if defined(GetFreeSpace)
#undef GetFreeSpace
#if !defined(KESTREL_WINDOWS_GET_FREE_SPACE)
#define KESTREL_WINDOWS_GET_FREE_SPACE
inline LONG GetFreeSpace(UINT) {
    return 0x100000;
}
#endif
#endif

#if defined(GetMessage)
#undef GetMessage
#if !defined(KESTREL_WINDOWS_GET_MESSAGE)
#define KESTREL_WINDOWS_GET_MESSAGE
inline BOOL GetMessage(LPMSG message, HWND window, UINT first, UINT last) {
    return KESTREL_WINDOWS_CALL(GetMessage)(message, window, first, last);
}
#endif
#endif

#if defined(GetClassInfo)
#undef GetClassInfo
#if !defined(KESTREL_WINDOWS_GET_CLASS_INFO)
#define KESTREL_WINDOWS_GET_CLASS_INFO
inline BOOL GetClassInfo(HINSTANCE instance, LPCTSTR name, LPWNDCLASS info) {
    return KESTREL_WINDOWS_CALL(GetClassInfo)(instance, name, info);
}
#endif
#endif

#undef KESTREL_WINDOWS_CALL

#endif
