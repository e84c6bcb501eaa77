// Analytics in the main process of an Electron application. Renderers report through IPC: only one
// process of the application loads the library. Put tav.dll into extraResources of the package.
'use strict';

const { app, ipcMain } = require('electron');
const { Library, LANGUAGE } = require('tav');

let tav = null;

// `consented` is the user's answer, which the application asks for once and remembers.
function startAnalytics(consented) {
  try {
    const library = Library.load();
    if (!consented) library.optOut();
    library.initialize('Editor', app.getVersion(), app.getVersion(), LANGUAGE.EN_US);
    tav = library;
  } catch (error) {
    console.error('No analytics:', error.message); // the application goes on
  }
}

// In the renderer's preload script: ipcRenderer.send('report', 'DocumentOpened', { Pages: 12 }).
ipcMain.on('report', (_event, name, properties) => {
  if (!tav || typeof name !== 'string') return;
  const event = tav.newEvent(name);
  for (const [key, value] of Object.entries(properties ?? {})) {
    event.add(key, typeof value === 'number' ? value : String(value));
  }
  event.log();
});

// Terminate waits for the network, 10 seconds at most. The windows are closed by then.
app.on('will-quit', (event) => {
  if (!tav) return;
  event.preventDefault();
  const library = tav;
  tav = null;
  library.terminate().finally(() => app.quit());
});

module.exports = { startAnalytics };
