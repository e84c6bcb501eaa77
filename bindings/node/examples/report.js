// Reports one event of each kind and waits until they are sent.
//   node report.js [path of tav.dll]
'use strict';

const { Library, ConsumedError, LANGUAGE } = require('..');

async function main() {
  const tav = Library.load(process.argv[2]);
  tav.addProductInfo('Edition', 'Pro');
  tav.initialize('BindingHost', '1.0', '1.0.0.1', LANGUAGE.EN_US);

  tav.newEvent('DocumentOpened').add('File', 'Übersicht 四.md').add('Pages', 12).log();

  const session = tav.sessionBegin();
  session.logPlace('Editor');
  session.newCommandEvent('Save').log();
  session.newErrorEvent('E1', 'full').addTraceItem('Write', 'io').log();
  session.incrementCounter('Words', 'bad');
  session.flushAggregates();
  session.end();
  try {
    session.logIdle();
  } catch (error) {
    if (!(error instanceof ConsumedError)) throw error;
    tav.newEvent('SecondUseRefused').log();
  }

  const component = tav.createComponent('Spelling', '1.3');
  component.newEvent('Checked').add('Words', 200).log();
  component.release();

  // The event loop goes on while these two wait for the network.
  const sent = await tav.commit();
  await tav.terminate();
  console.log(sent ? 'The events were sent.' : 'Not everything was sent.');
  process.exitCode = sent ? 0 : 1;
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
