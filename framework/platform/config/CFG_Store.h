#ifndef CFG_STORE_H
#define CFG_STORE_H

/** Size of the longest text of the store in bytes, with its closing NUL. */
enum { CFG_TEXT_SIZE = 64 };

/** Type codes of the configuration store's values, as far as the media channel library reads. */
enum CFG_Type : int {
    /** Text: characters and a closing NUL, CFG_TEXT_SIZE bytes at most. */
    CFG_TYPE_TEXT = 3,
    /** One unsigned byte. */
    CFG_TYPE_BYTE = 8
};

/**
 * Reads a value from the gateway's configuration store. Implemented by the platform; called by the
 * library on the thread that delivers IMC messages.
 * @param section such as "/current//gateway"
 * @param key name of the value in the section
 * @param destination receives the value; CFG_TEXT_SIZE bytes for a text, 1 for a byte. Left as it
 *        is on failure.
 * @param type a CFG_Type: what the caller expects the value to be
 * @param count in: how many values are wanted; out: how many were read. Never null.
 * @return 0 on success; anything else when the value is missing, unreadable or of another type
 */
int get(char const* section, char const* key, void* destination, int type, int* count);

#endif
