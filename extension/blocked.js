// The block page of a tab: what the filter says of the address, which it is asked anew each time the page is loaded.
'use strict';

const address = new URLSearchParams(location.search).get('url') || '';

// The page that the filter made: it has no script, and this page would run none.
function show(page) {
  const made = new DOMParser().parseFromString(page, 'text/html');
  document.documentElement.lang = made.documentElement.lang;
  document.title = made.title;
  document.head.append(...made.head.querySelectorAll('style'));
  document.body.replaceChildren(...made.body.childNodes);
}

function showNoAnswer() {
  const make = (tag, text) => {
    const element = document.createElement(tag);
    element.textContent = text;
    return element;
  };
  const again = make('button', chrome.i18n.getMessage('again'));
  again.addEventListener('click', () => location.reload());
  document.documentElement.lang = chrome.i18n.getUILanguage();
  document.title = chrome.i18n.getMessage('noAnswerTitle');
  const main = document.createElement('main');
  main.append(make('h1', document.title), make('p', chrome.i18n.getMessage('noAnswer')), make('p', address), again);
  document.body.replaceChildren(main);
}

async function decide() {
  if (!/^https?:\/\//i.test(address)) return;
  const answer = await chrome.runtime.sendMessage({type: 'page', url: address});
  if (answer?.verdict === 'blocked' && answer.page) show(answer.page);
  else if (answer?.verdict) location.replace(address);  // it is allowed by now
  else showNoAnswer();
}
decide();
