// Compiled only: the package as a program in TypeScript sees it.
import {
  Component, ConsumedError, Event, LANGUAGE, Library, RefusedError, Session, STATUS, TAG, UNIT, Value,
} from 'tav';

export async function report(file?: string): Promise<boolean> {
  const tav: Library = Library.load(file);
  tav.setSendInterval(5, UNIT.MINUTES);
  tav.addTag(TAG.EDITION, 'Pro');
  try {
    tav.initialize('Editor', '4.2', '4.2.0.118', LANGUAGE.EN_US);
  } catch (error) {
    if (error instanceof RefusedError && error.status === STATUS.BAD_PRODUCT) return false;
    throw error;
  }
  const plugins: Value = tav.newListValue().append('Spelling');
  tav.addProductInfoValue('Plugins', plugins);
  const event: Event = tav.newEvent('DocumentOpened').add('Format', 'PDF').add('Pages', 12);
  event.log();
  const session: Session = tav.sessionBegin();
  session.newErrorEvent('E1').addTraceItem('Write', 'io').log();
  session.end();
  const component: Component = tav.createComponent('Spelling', '1.3');
  component.release();
  const record: string | null = await tav.pullData();
  if (record !== null) await tav.pushData(record);
  const sent: boolean = await tav.commit();
  await tav.terminate();
  return sent;
}

export function refused(tav: Library, error: unknown): boolean {
  // @ts-expect-error A boolean is neither a text nor a number.
  tav.newEvent('Saved').add('Again', true);
  // @ts-expect-error A list has items, not pairs.
  tav.newListValue().append('Spelling', 1);
  // @ts-expect-error Only the library makes events.
  new Event();
  return error instanceof ConsumedError;
}
