#include "probes/time_text.h"

namespace varnel {

std::wstring FormatTimeText(const SYSTEMTIME& time) {
  wchar_t text[260] = L"YYYY-MM-DDTHH:MM:SS";
  wsprintfW(text, L"%04d-%02d-%02dT%02d:%02d:%02d", time.wYear, time.wMonth, time.wDay, time.wHour,
            time.wMinute, time.wSecond);
  return text;
}

}  // namespace varnel
