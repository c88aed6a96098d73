#pragma once

template <typename T>
class zrxNotifier;

template <typename T>
struct zrxNotifierEvent {
  zrxNotifier<T>* notifier_;
  T data_;
};
