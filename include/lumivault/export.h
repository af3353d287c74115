#ifndef LUMIVAULT_EXPORT_H_
#define LUMIVAULT_EXPORT_H_

/* Mark what other programs may call, of the plug-in and of the platform; everything else stays hidden. */
#define LUMIVAULT_API __attribute__((visibility("default")))
#define KAVO_API __attribute__((visibility("default")))

#endif /* LUMIVAULT_EXPORT_H_ */
