// varnel/catalogue.hpp - what the headers of `varnel catalogue generate` have in common. Products include
// their generated header, which includes this one.
//
//   acme::MalwareDetected(L"heuristics", {acme::MalwareDetected::File(path, acme::Verdict::kDeleted)})
//       .SetConfidence(97)
//       .AddTo(report);
//
// A value of another type than the catalogue's does not compile. The compiler's message names the field, as
// the first argument of varnel::Field.
//
// Threads: an event that is not changed may be added to reports of different threads at the same time.
#pragma once

#include <varnel/cpp/catalogue_event.hpp>
#include <varnel/cpp/catalogue_values.hpp>
#include <varnel/varnel.hpp>
