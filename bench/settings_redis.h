/*
 * What writer and subscriber of the Redis path agree on: the name of the channel is the setting's, the
 * message is its value.
 */
#ifndef BENCH_SETTINGS_REDIS_H
#define BENCH_SETTINGS_REDIS_H

constexpr char redis_flip_key[] = "nvram:default:flip";

#endif
