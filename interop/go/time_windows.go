package varnel

import "time"

const (
	secondsOfDay = 86400
	unixDay      = 25569 // in days of Automation, which count from 30 December 1899
	year100      = -657434
	year10000    = 2958466
)

// toDate returns the time as Automation has it, in whole seconds, rounded down: an event is not reported before it has
// happened. False outside of the years 100 to 9999.
func toDate(at time.Time) (float64, bool) {
	unix := at.Unix()
	if unix < (year100-unixDay)*secondsOfDay || unix >= (year10000-unixDay)*secondsOfDay {
		return 0, false
	}
	seconds := unix + unixDay*secondsOfDay
	day, part := seconds/secondsOfDay, seconds%secondsOfDay
	if part < 0 {
		day, part = day-1, part+secondsOfDay
	}
	fraction := float64(part) / secondsOfDay
	if day < 0 {
		// Before the zero the time of day counts away from it.
		fraction = -fraction
	}
	return float64(day) + fraction, true
}
