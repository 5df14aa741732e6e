// Tries one hardware encoder, so that a driver that crashes or hangs does so here. The studio starts it once
// for each candidate and ends it after a few seconds.
//
//   encoder_probe NAME      exit code 0 if the encoder works

#include "media/EncoderProbe.h"

int main(int count, char** arguments) {
    return count == 2 && varnelle::encoderWorks(arguments[1]) ? 0 : 1;
}
