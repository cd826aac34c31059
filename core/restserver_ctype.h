// Character classes shared by the string and line utilities.
#ifndef RESTSERVER_CTYPE_H
#define RESTSERVER_CTYPE_H

// The POSIX locale's whitespace: space, \t, \n, \v, \f, \r. Takes the byte
// as it is, so bytes 0x80 and above are never whitespace.
static inline bool RsIsSpace(char cByte) {
    unsigned char ucByte = static_cast<unsigned char>(cByte);
    return ucByte == ' ' || (ucByte >= '\t' && ucByte <= '\r');
}

#endif
