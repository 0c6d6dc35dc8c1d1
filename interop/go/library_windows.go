package varnel

import (
	"runtime"
	"strings"
	"sync"
	"syscall"
	"unsafe"
)

const (
	needsFromSystemFolder = 0x800 // LOAD_LIBRARY_SEARCH_SYSTEM32
	needsFromItsFolder    = 8     // LOAD_WITH_ALTERED_SEARCH_PATH
	errorInvalidParameter = syscall.Errno(87)
	inprocServer          = 1
)

// Library is the library that reports are made by. Close it; the DLL stays loaded until its last report is closed as well.
type Library struct {
	lock    sync.Mutex
	closed  bool
	users   int // itself until it is closed, and its open reports
	factory *classFactory
	unload  func()
}

// Registered returns the registered class, or the one that the program's own manifest names. COM need not be
// initialised: a goroutine of the library's own, locked to its thread, keeps COM's multithreaded apartment alive. The
// component's objects may be called from every thread, so they are created in that apartment and called without proxies.
func Registered() (*Library, error) {
	type answer struct {
		factory *classFactory
		result  Result
	}
	answers, leave, left := make(chan answer), make(chan struct{}), make(chan struct{})
	go func() {
		defer close(left)
		// An apartment belongs to a thread.
		runtime.LockOSThread()
		defer runtime.UnlockOSThread()
		if result := method(coInitializeEx.Addr(), 0, 0); result.failed() {
			answers <- answer{nil, result}
			return
		}
		defer call(coUninitialize.Addr())
		var factory *classFactory
		result := method(coGetClassObject.Addr(), uintptr(unsafe.Pointer(&clsidOrbaEventInf)), inprocServer, 0,
			uintptr(unsafe.Pointer(&iidClassFactory)), uintptr(unsafe.Pointer(&factory)))
		answers <- answer{factory, result}
		<-leave
	}()
	found := <-answers
	if found.result.failed() {
		close(leave)
		<-left
		return nil, &Error{"Registered", found.result}
	}
	return &Library{users: 1, factory: found.factory, unload: func() {
		close(leave)
		<-left
	}}, nil
}

// Load returns the library of the DLL with that full path, registered or not. The DLLs that it needs come from the
// system's folder only.
func Load(path string) (*Library, error) {
	wide, err := syscall.UTF16PtrFromString(path)
	if err != nil || !isFull(path) {
		return nil, &Error{"Load", BadPath}
	}
	module, result := loadModule(wide)
	if result.failed() {
		return nil, &Error{"Load", result}
	}
	factory, result := factoryOf(module)
	if result.failed() {
		unloadModule(module)
		return nil, &Error{"Load", result}
	}
	return &Library{users: 1, factory: factory, unload: func() { unloadModule(module) }}, nil
}

// Close closes the library. Open reports stay open; new ones fail with NoLibrary.
func (library *Library) Close() error {
	if library == nil {
		return &Error{"Library.Close", NoLibrary}
	}
	library.lock.Lock()
	closed := library.closed
	library.closed = true
	library.lock.Unlock()
	if closed {
		return &Error{"Library.Close", NoLibrary}
	}
	library.release()
	return nil
}

// create makes a report object, which is a user of the library until release is called.
func (library *Library) create() (*orbaEventInf3, Result) {
	if library == nil {
		return nil, NoLibrary
	}
	library.lock.Lock()
	usable := !library.closed && library.users > 0
	if usable {
		library.users++
	}
	library.lock.Unlock()
	if !usable {
		return nil, NoLibrary
	}
	var made *orbaEventInf3
	result := method(library.factory.vtable.CreateInstance, uintptr(unsafe.Pointer(library.factory)), 0,
		uintptr(unsafe.Pointer(&iidIOrbaEventInf3)), uintptr(unsafe.Pointer(&made)))
	if !result.failed() && made == nil {
		result = resultUnexpected
	}
	if result.failed() {
		library.release()
	}
	return made, result
}

// release ends one use of the library. The last one releases the class object and then unloads its code.
func (library *Library) release() {
	library.lock.Lock()
	library.users--
	last := library.users == 0
	library.lock.Unlock()
	if last {
		call(library.factory.vtable.Release, uintptr(unsafe.Pointer(library.factory)))
		library.unload()
	}
}

// isFull tells whether the path names its drive or server: nothing is searched for it.
func isFull(path string) bool {
	isSlash := func(at int) bool { return len(path) > at && strings.IndexByte(`/\`, path[at]) >= 0 }
	if isSlash(0) {
		return len(path) > 1 && path[1] == path[0]
	}
	return len(path) > 1 && path[1] == ':' && isSlash(2)
}

func loadModule(path *uint16) (syscall.Handle, Result) {
	for _, flags := range []uintptr{needsFromSystemFolder, needsFromItsFolder} {
		module, _, err := loadLibraryEx.Call(uintptr(unsafe.Pointer(path)), 0, flags)
		if module != 0 {
			return syscall.Handle(module), 0
		}
		// WINDOWS 7: may lack the update with the first flag.
		if code, ok := err.(syscall.Errno); ok && code != errorInvalidParameter {
			return 0, 0x80070000 | Result(code)
		}
	}
	return 0, resultUnexpected
}

func factoryOf(module syscall.Handle) (*classFactory, Result) {
	get, err := syscall.GetProcAddress(module, "DllGetClassObject")
	if err != nil {
		return nil, resultNotVarnel
	}
	var factory *classFactory
	result := method(get, uintptr(unsafe.Pointer(&clsidOrbaEventInf)), uintptr(unsafe.Pointer(&iidClassFactory)),
		uintptr(unsafe.Pointer(&factory)))
	if result == resultNoClass || result == resultNoInterface {
		result = resultNotVarnel
	}
	return factory, result
}

// unloadModule leaves a module alone of which something is still in use.
func unloadModule(module syscall.Handle) {
	ask, err := syscall.GetProcAddress(module, "DllCanUnloadNow")
	if err != nil || call(ask) == 0 {
		syscall.FreeLibrary(module)
	}
}
