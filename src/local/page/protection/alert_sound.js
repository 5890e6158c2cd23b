// A browser lets a page sound only after the operator has used it.
let vorAudio = null;
let vorLastSound = 0;

function enable_audio() {
  try {
    vorAudio ??= new (window.AudioContext || window.webkitAudioContext)();
    vorAudio.resume().catch(() => {});
  } catch {
    // A browser without audio shows the alerts all the same.
  }
}

function sound_tone() {
  const end = vorAudio.currentTime + 0.25;
  const tone = vorAudio.createOscillator();
  const gain = vorAudio.createGain();
  tone.frequency.value = 740;
  gain.gain.setValueAtTime(0.08, vorAudio.currentTime);
  gain.gain.exponentialRampToValueAtTime(0.001, end);
  tone.connect(gain).connect(vorAudio.destination);
  tone.start();
  tone.stop(end);
}

function sound_alerts(protection, alerts) {
  const now = Date.now();
  if (protection.audible !== true || now - vorLastSound <= 10000) return;
  if (!alerts.some(({ acknowledged }) => acknowledged === false)) return;
  if (vorAudio?.state !== 'running') return;
  vorLastSound = now;
  sound_tone();
}
