use std::time::{SystemTime, UNIX_EPOCH};

const SECONDS_OF_DAY: i64 = 86_400;
/// In days of Automation, which count from 30 December 1899.
const UNIX_DAY: i64 = 25_569;
const YEAR_100: i64 = -657_434;
const YEAR_10000: i64 = 2_958_466;

/// Returns the time as Automation has it, in whole seconds, rounded down: an event is not reported before it has
/// happened. Nothing outside of the years 100 to 9999.
pub(crate) fn to_date(time: SystemTime) -> Option<f64> {
    let since_unix = match time.duration_since(UNIX_EPOCH) {
        Ok(after) => i64::try_from(after.as_secs()).ok()?,
        Err(before) => {
            let before = before.duration();
            -i64::try_from(before.as_secs()).ok()? - i64::from(before.subsec_nanos() > 0)
        }
    };
    let seconds = since_unix.checked_add(UNIX_DAY * SECONDS_OF_DAY)?;
    let day = seconds.div_euclid(SECONDS_OF_DAY);
    if !(YEAR_100..YEAR_10000).contains(&day) {
        return None;
    }
    let part = seconds.rem_euclid(SECONDS_OF_DAY) as f64 / SECONDS_OF_DAY as f64;
    // Before the zero the time of day counts away from it.
    Some(day as f64 + if day < 0 { -part } else { part })
}
