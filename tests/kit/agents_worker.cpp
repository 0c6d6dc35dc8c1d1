// agents_worker DLL NAME AGENTS REPORTS: a process with several agents that save by turns. Returns 0 if each
// agent gets its own reports and no other. With 0 reports it saves until it is killed.
//
// In the oldest C++ that varnel/testing.hpp is for, without a test framework.

#include <cstdio>
#include <cstdlib>
#include <varnel/testing.hpp>

namespace {

using Agents = std::vector<std::unique_ptr<varnel::testing::Agent>>;

std::wstring MarkOf(const wchar_t* name, std::size_t agent, unsigned long report) {
  return name + (L"-" + std::to_wstring(agent)) + L"-" + std::to_wstring(report);
}

void SaveRound(const Agents& agents, const wchar_t* name, unsigned long number) {
  for (std::size_t i = 0; i < agents.size(); ++i) {
    const varnel::Report report(agents[i]->Library(), {L"EXAMPLE__1000", L"R", L"P", L"N", L"1", L"F"});
    report.AddMachine();
    report.AddEvent(L"E", 1, 1).SetAttribute("Mark", MarkOf(name, i, number));
    report.Save();
  }
}

std::size_t CountFaults(const Agents& agents, const wchar_t* name, unsigned long reports) {
  std::size_t faults = 0;
  for (std::size_t i = 0; i < agents.size(); ++i) {
    const auto files = agents[i]->TakeReports();
    faults += files.size() == reports ? 0 : 1;
    for (std::size_t j = 0; j < files.size(); ++j)
      if (files[j].events.at(0).Attribute("Mark") != MarkOf(name, i, static_cast<unsigned long>(j))) ++faults;
  }
  return faults;
}

}  // namespace

int wmain(int count, wchar_t** arguments) try {
  if (count != 5) return 2;
  const unsigned long reports = std::wcstoul(arguments[4], nullptr, 10);
  Agents agents;
  for (unsigned long i = std::wcstoul(arguments[3], nullptr, 10); i > 0; --i)
    agents.push_back(std::make_unique<varnel::testing::Agent>(arguments[1]));
  for (unsigned long i = 0; i < reports || reports == 0; ++i) SaveRound(agents, arguments[2], i);
  return CountFaults(agents, arguments[2], reports) == 0 ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 3;
}
