// Collects one message's frames, converts them, and posts them with their level.
'use strict';

const framesPerMessage = 341;

class Tap extends AudioWorkletProcessor {
  constructor() {
    super();
    this.begin();
  }

  begin() {
    this.pcm = new Int16Array(framesPerMessage);
    this.used = 0;
    this.squares = 0;
  }

  process([[samples]]) {
    for (const sample of samples ?? []) {
      this.pcm[this.used++] = Math.max(-32768, Math.min(32767, Math.round(sample * 32768)));
      this.squares += sample * sample;
      if (this.used === framesPerMessage) {
        const level = Math.min(3 * Math.sqrt(this.squares / framesPerMessage), 1);
        this.port.postMessage({ pcm: this.pcm.buffer, level }, [this.pcm.buffer]);
        this.begin();
      }
    }
    return true;
  }
}

registerProcessor('tap', Tap);
