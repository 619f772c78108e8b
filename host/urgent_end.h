// Whether this process has to end within a few seconds, because its console closes or the machine does.
// Any thread may tell and ask; from the first time on it stays so.
#ifndef TARN_HOST_URGENT_END_H
#define TARN_HOST_URGENT_END_H

namespace tarn::host {

// A test takes it back.
void TellUrgentEnd(bool isUrgent = true);
[[nodiscard]] bool IsEndUrgent();

}  // namespace tarn::host

#endif
