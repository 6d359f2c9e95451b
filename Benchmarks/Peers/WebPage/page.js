// Streams the microphone as 16 kHz mono 16-bit PCM: commands come from the page's own server. The
// sound is taken as it is, without the processing that calls have, which would cost more.
'use strict';

const track = document.getElementById('track');
const level = document.getElementById('level');
let stopStream = () => {};
let showsLevel = false;

function tell(note) {
  fetch('/notes', { method: 'POST', body: note });
}

async function start(address) {
  const microphone = await navigator.mediaDevices.getUserMedia({
    audio: { echoCancellation: false, noiseSuppression: false, autoGainControl: false,
             channelCount: 1 },
  });
  const context = new AudioContext({ sampleRate: 16000, latencyHint: 'interactive' });
  await context.audioWorklet.addModule('worklet.js');
  const socket = new WebSocket(address);
  await new Promise((resolve, reject) => {
    socket.onopen = resolve;
    socket.onerror = reject;
  });
  const tap = new AudioWorkletNode(context, 'tap', { numberOfInputs: 1, numberOfOutputs: 0 });
  tap.port.onmessage = ({ data }) => {
    socket.send(data.pcm);
    if (showsLevel) {
      level.style.width = `${data.level * 100}%`;
    }
  };
  context.createMediaStreamSource(microphone).connect(tap);
  stopStream = () => {
    microphone.getTracks().forEach((source) => source.stop());
    context.close();
    socket.close(1000);
  };
}

const commands = new EventSource('/commands');
commands.onopen = () => tell('ready');
commands.onmessage = ({ data }) => {
  const [command, address] = data.split(' ');
  if (command === 'start') {
    start(address).catch((error) => tell(`failed: ${error}`));
  } else if (command === 'meter') {
    showsLevel = true;
    track.style.visibility = 'visible';
  } else if (command === 'stop') {
    stopStream();
  }
};
