#pragma once

/// Access to process-wide words that start-up may write while other threads read them. Relaxed
/// atomics cost no more than plain accesses and avoid data races.
namespace ns_signal {

template <class T>
T load_shared(const T& word) {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

template <class T>
void store_shared(T& word, T value) {
  __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

}  // namespace ns_signal
