#ifndef LUMIVAULT_EXPORT_H_
#define LUMIVAULT_EXPORT_H_

/* Marks what other programs may call; everything else stays hidden in the library. */
#define LUMIVAULT_API __attribute__((visibility("default")))

#endif /* LUMIVAULT_EXPORT_H_ */
