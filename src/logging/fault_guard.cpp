#include "logging/fault_guard.h"

#include <windows.h>

namespace {

// Windows clears PAGE_GUARD on the first access. Sets it again, because the page's owner still relies on it.
void RestoreGuardPage(const EXCEPTION_RECORD& fault) noexcept {
  constexpr DWORD kAddress = 1;  // index of the parameter that has the address
  if (fault.NumberParameters <= kAddress) return;
  auto* const address =
      reinterpret_cast<void*>(fault.ExceptionInformation[kAddress]);  // NOLINT(performance-no-int-to-ptr)
  MEMORY_BASIC_INFORMATION page;
  DWORD before = 0;
  if (VirtualQuery(address, &page, sizeof(page)) != 0)
    VirtualProtect(address, 1, page.Protect | PAGE_GUARD, &before);
}

bool IsAccessFault(const EXCEPTION_RECORD& fault) noexcept {
  const DWORD code = fault.ExceptionCode;
  if (code == EXCEPTION_GUARD_PAGE) RestoreGuardPage(fault);
  return code == EXCEPTION_ACCESS_VIOLATION || code == EXCEPTION_IN_PAGE_ERROR ||
         code == EXCEPTION_DATATYPE_MISALIGNMENT || code == EXCEPTION_GUARD_PAGE;
}

}  // namespace

#if defined(_MSC_VER)

namespace varnel {

bool RunFaultGuarded(GuardedBody body, void* context, int* result) noexcept {
  __try {
    *result = body(context);
    return true;
  } __except (IsAccessFault(*GetExceptionInformation()->ExceptionRecord) ? EXCEPTION_EXECUTE_HANDLER
                                                                         : EXCEPTION_CONTINUE_SEARCH) {
    return false;
  }
}

}  // namespace varnel

#else

// GCC has no __try, so the system's frame-based handling is written out by hand: no process-wide handler, no
// thread state, and handlers inside the body keep precedence.
extern "C" int VarnelGuardedCall(varnel::GuardedBody body, void* context, int* result);

#if defined(__x86_64__)

extern "C" LONG VarnelFaultFilter(EXCEPTION_POINTERS* fault, void*);

extern "C" __attribute__((used)) LONG VarnelFaultFilter(EXCEPTION_POINTERS* fault, void*) {
  return IsAccessFault(*fault->ExceptionRecord) ? EXCEPTION_EXECUTE_HANDLER : EXCEPTION_CONTINUE_SEARCH;
}

// The nop keeps the call's return address inside the guarded range.
asm(R"(
	.text
	.p2align 4
	.globl	VarnelGuardedCall
	.def	VarnelGuardedCall; .scl 2; .type 32; .endef
	.seh_proc VarnelGuardedCall
VarnelGuardedCall:
	pushq	%rbx
	.seh_pushreg %rbx
	subq	$32, %rsp
	.seh_stackalloc 32
	.seh_endprologue
	movq	%r8, %rbx
	movq	%rcx, %rax
	movq	%rdx, %rcx
.Lvarnel_guard_begin:
	call	*%rax
	nop
.Lvarnel_guard_end:
	movl	%eax, (%rbx)
	movl	$1, %eax
.Lvarnel_guard_out:
	addq	$32, %rsp
	popq	%rbx
	ret
.Lvarnel_guard_fault:
	xorl	%eax, %eax
	jmp	.Lvarnel_guard_out
	.seh_handler __C_specific_handler, @except
	.seh_handlerdata
	.long	1
	.rva	.Lvarnel_guard_begin, .Lvarnel_guard_end, VarnelFaultFilter, .Lvarnel_guard_fault
	.text
	.seh_endproc
)");

#elif defined(__i386__)

extern "C" int __cdecl VarnelWantsFault(EXCEPTION_RECORD* record);

extern "C" __attribute__((used)) int __cdecl VarnelWantsFault(EXCEPTION_RECORD* record) {
  const DWORD unwinding = EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND;
  return (record->ExceptionFlags & unwinding) == 0 && IsAccessFault(*record);
}

// Registers an exception handler on the stack. The handler unwinds to this frame and restores its registers.
asm(R"(
	.text
	.p2align 4
	.globl	_VarnelGuardedCall
_VarnelGuardedCall:
	pushl	%ebp
	movl	%esp, %ebp
	pushl	%ebx
	pushl	%esi
	pushl	%edi
	pushl	%ebp
	pushl	$_VarnelGuardHandler
	pushl	%fs:0
	movl	%esp, %fs:0
	pushl	12(%ebp)
	call	*8(%ebp)
	addl	$4, %esp
	movl	16(%ebp), %ecx
	movl	%eax, (%ecx)
	movl	$1, %eax
.Lvarnel_guard_out:
	popl	%fs:0
	addl	$4, %esp
	popl	%ebp
	popl	%edi
	popl	%esi
	popl	%ebx
	popl	%ebp
	ret
_VarnelGuardHandler:
	pushl	4(%esp)
	call	_VarnelWantsFault
	addl	$4, %esp
	testl	%eax, %eax
	jnz	1f
	movl	$1, %eax
	ret
1:	movl	8(%esp), %ebx
	movl	4(%esp), %eax
	pushl	%ebx
	pushl	$0
	pushl	%eax
	pushl	$2f
	pushl	%ebx
	call	_RtlUnwind@16
2:	popl	%ebx
	movl	%ebx, %esp
	movl	8(%esp), %ebp
	xorl	%eax, %eax
	jmp	.Lvarnel_guard_out
)");

#else
#error "the fault guard is written for x86 and x64"
#endif

namespace varnel {

bool RunFaultGuarded(GuardedBody body, void* context, int* result) noexcept {
  return VarnelGuardedCall(body, context, result) != 0;
}

}  // namespace varnel

#endif
