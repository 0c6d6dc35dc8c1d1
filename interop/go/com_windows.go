package varnel

import (
	"syscall"
	"unsafe"
)

var (
	kernel32          = syscall.NewLazyDLL("kernel32.dll") // Go has it loaded
	loadLibraryEx     = kernel32.NewProc("LoadLibraryExW")
	ole32             = systemDLL("ole32.dll")
	coInitializeEx    = ole32.NewProc("CoInitializeEx")
	coUninitialize    = ole32.NewProc("CoUninitialize")
	coGetClassObject  = ole32.NewProc("CoGetClassObject")
	oleaut32          = systemDLL("oleaut32.dll")
	sysAllocStringLen = oleaut32.NewProc("SysAllocStringLen")
	sysFreeString     = oleaut32.NewProc("SysFreeString")
)

// systemDLL names a DLL of the system's folder: by its bare name one beside the program would be found first.
func systemDLL(name string) *syscall.LazyDLL {
	var folder [syscall.MAX_PATH]uint16
	kernel32.NewProc("GetSystemDirectoryW").Call(uintptr(unsafe.Pointer(&folder[0])), uintptr(len(folder)))
	return syscall.NewLazyDLL(syscall.UTF16ToString(folder[:]) + `\` + name)
}

type classFactory struct {
	vtable *classFactoryVtbl
}

type classFactoryVtbl struct {
	unknownVtbl
	CreateInstance, LockServer uintptr
}

var iidClassFactory = syscall.GUID{Data1: 1, Data4: [8]byte{0xC0, 0, 0, 0, 0, 0, 0, 0x46}}

// call returns what a function of Windows or a method returns. Pointers are converted in the call itself: so they stay
// valid until it returns.
//
//go:uintptrescapes
func call(function uintptr, arguments ...uintptr) uintptr {
	returned, _, _ := syscall.SyscallN(function, arguments...)
	return returned
}

// method returns the result of a method.
//
//go:uintptrescapes
func method(function uintptr, arguments ...uintptr) Result {
	returned, _, _ := syscall.SyscallN(function, arguments...)
	return Result(returned)
}
