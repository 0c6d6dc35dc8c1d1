package varnel

import "fmt"

// Result is the number that a call answers with, an HRESULT. As an error it is the cause of an Error.
type Result uint32

const (
	resultFail        Result = 0x80004005
	resultOutOfMemory Result = 0x8007000E
	resultUnexpected  Result = 0x8000FFFF
	resultNotVarnel   Result = 0x8007007F
	resultNoClass     Result = 0x80040111
	resultNoInterface Result = 0x80004002
)

func (result Result) failed() bool { return int32(result) < 0 }

// Error returns "MEANING (CODE). REMEDY".
func (result Result) Error() string {
	meaning, remedy := describe(result)
	return fmt.Sprintf("%s (0x%08X). %s", meaning, uint32(result), remedy)
}

// Error is a call that failed. Its text is "CALL: MEANING (CODE). REMEDY"; errors.Is(err, varnel.BadText) and the like
// tell results apart.
type Error struct {
	Call   string
	Result Result
}

func (err *Error) Error() string { return err.Call + ": " + err.Result.Error() }

// Unwrap returns the result.
func (err *Error) Unwrap() error { return err.Result }

// check returns an error for a result that is a failure.
func check(call string, result Result) error {
	if result.failed() {
		return &Error{call, result}
	}
	return nil
}
