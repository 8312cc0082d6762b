insert into email (email, fname, lname, title, contact, company, memo) values
    ('ada.whitfield@post.example', 'Ada', 'Whitfield', 'Mrs', '0117 496 0011', 'Whitfield & Daughters', 'Please bring the large-print catalogue.'),
    ('brian.obrien@post.example', 'Brian', 'O''Brien', 'Mr', '0117 496 0023', 'O''Brien''s Garage', ''),
    ('chloe.dubois@courrier.example', 'Chloé', 'Dubois', 'Ms', '+33 1 70 18 00 44', 'Librairie Dubois', 'Your two reserved atlases are waiting.'),
    ('dmitri@post.example', 'Дмитрий', 'Соколов', 'Mr', '0117 496 0058', 'Chess club', ''),
    ('emi.sato@post.example', '恵美', '佐藤', 'Dr', '+81 3 4510 0066', '', 'The picture-book corner is on the ground floor.'),
    ('frieda.mueller@brief.example', 'Frieda', 'Müller', 'Prof', '+49 30 2318 0077', 'Universität', ''),
    ('moved.away@unknown.example', 'George', 'Harris', 'Mr', '0117 496 0083', 'Harris Ltd', ''),
    ('no-longer@post.example', 'Hana', 'Novak', 'Ms', '', '', '');
